// tavo lut apply: a colour look-up table applied to a picture, written as PNG, so that a person can
// look at a filter's preview.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "lut" and its sub-command "apply" to `app`; it stores its exit status in `status`.
void addLutCommand(CLI::App& app, int& status);

}  // namespace tav::tool
