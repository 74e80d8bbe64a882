// Which of a set of localisations suits the user best, as a bundle of localised tables decides it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/localizer.hpp"

namespace tav {

/// Absent for an empty `availableLocalizations`. Asks the system's localisation matcher
/// (`ualoc_localizationsToUse`, looked up at run time) when the process has one; otherwise, or when it
/// finds nothing, the first of the bundle's preferredLocalizations() that is available; absent when
/// none is. Thread-safe.
std::optional<std::string> closestLocalizationFromAvailableLocalizations(
    const std::vector<std::string>& availableLocalizations, const Localizer& bundle = Localizer::mainBundle());

/// The same choice with the preferred languages given.
std::optional<std::string> closestLocalization(const std::vector<std::string>& preferredLocalizations,
                                               const std::vector<std::string>& availableLocalizations);

}  // namespace tav
