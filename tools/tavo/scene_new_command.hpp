// "tavo scene new": a new scene document built with the library's factories, one layer per --add.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "new" under the "scene" command; it stores its exit status in `status` when it runs.
void addSceneNewCommand(CLI::App& scene, int& status);

}  // namespace tav::tool
