// The "tavo obs ..." commands: reading OBS Studio scene collections.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "obs" and its sub-commands to `app`. Each sub-command stores its exit status in `status`
/// when it runs.
void addObsCommands(CLI::App& app, int& status);

}  // namespace tav::tool
