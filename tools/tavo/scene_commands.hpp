// The "tavo scene ..." commands: reading, checking and showing scene documents.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "scene" and its sub-commands to `app`. Each sub-command stores its exit status in `status`
/// when it runs.
void addSceneCommands(CLI::App& app, int& status);

}  // namespace tav::tool
