#include "tav/foundation/closest_localization.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>

namespace tav {
namespace {

// ICU's matcher as some platforms export it: preferred and available lists in, the chosen
// localisations written to `result` up to `capacity`, the count returned; status 0 or below is success.
using LocalizationsToUse = std::int32_t (*)(const char* const* preferred, std::int32_t preferredCount,
                                            const char* const* available, std::int32_t availableCount,
                                            char** result, std::int32_t capacity, int* status);

std::vector<const char*> cStrings(const std::vector<std::string>& texts) {
  std::vector<const char*> pointers;
  pointers.reserve(texts.size());
  for (const std::string& text : texts) pointers.push_back(text.c_str());
  return pointers;
}

std::optional<std::string> systemMatch(const std::vector<std::string>& preferred,
                                       const std::vector<std::string>& available) {
  static const auto matcher = reinterpret_cast<LocalizationsToUse>(dlsym(RTLD_DEFAULT, "ualoc_localizationsToUse"));
  if (matcher == nullptr) return std::nullopt;
  const auto preferredTexts = cStrings(preferred);
  const auto availableTexts = cStrings(available);
  char* result[1] = {nullptr};
  int status = 0;
  const std::int32_t count =
      matcher(preferredTexts.data(), static_cast<std::int32_t>(preferredTexts.size()), availableTexts.data(),
              static_cast<std::int32_t>(availableTexts.size()), result, 1, &status);
  if (status <= 0 && count >= 1 && result[0] != nullptr) return std::string(result[0]);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> closestLocalization(const std::vector<std::string>& preferredLocalizations,
                                               const std::vector<std::string>& availableLocalizations) {
  if (availableLocalizations.empty()) return std::nullopt;
  if (auto match = systemMatch(preferredLocalizations, availableLocalizations)) return match;
  for (const std::string& language : preferredLocalizations) {
    if (std::find(availableLocalizations.begin(), availableLocalizations.end(), language) !=
        availableLocalizations.end()) {
      return language;
    }
  }
  return std::nullopt;
}

std::optional<std::string> closestLocalizationFromAvailableLocalizations(
    const std::vector<std::string>& availableLocalizations, const Localizer& bundle) {
  if (availableLocalizations.empty()) return std::nullopt;
  return closestLocalization(bundle.preferredLocalizations(), availableLocalizations);
}

}  // namespace tav
