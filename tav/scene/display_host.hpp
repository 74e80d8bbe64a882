// A short text that tells the user where a link goes, as web layers are titled in the layer list.
#pragma once

#include <string>

#include "tav/contracts/url.hpp"

namespace tav {

/// The host of `url` (else its whole text), cut to 30 characters plus "…" when it has 31 or more, and
/// then without a leading "www.". Characters are Unicode code points of the UTF-8 text, so a cut never
/// splits one; the cut comes first, so a long "www." address keeps 26 characters of its own.
std::string displayHost(const Url& url);

}  // namespace tav
