// tavo profiles: the output profiles in the user's settings, listed, added, selected and switched
// between aspect ratios.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "profiles" and its sub-commands to `app`. Each sub-command stores its exit status in `status`
/// when it runs.
void addProfileCommands(CLI::App& app, int& status);

}  // namespace tav::tool
