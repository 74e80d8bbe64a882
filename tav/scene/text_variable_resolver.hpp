// The one place where the layer model resolves scene-variable tokens in a text layer's text.
//
// Layer titles and a text layer's rendered text show the text with its variable tokens replaced.
// The scene variables live above the layer model, so they install the resolver here when they are
// set up; until then a text is shown as it is stored.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tav {

/// Turns a text with variable tokens into the text that the user sees.
using TextVariableResolver = std::function<std::string(std::string_view)>;

/// Installs the resolver that resolveVariableTokens uses from now on; an empty function restores the
/// default, which returns the text unchanged. Thread-safe; the scene variable store installs it.
void setTextVariableResolver(TextVariableResolver resolver);

/// `text` with every variable token replaced by the installed resolver. Thread-safe.
std::string resolveVariableTokens(std::string_view text);

}  // namespace tav
