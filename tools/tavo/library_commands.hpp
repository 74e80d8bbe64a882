// tavo library: the favourites and collections of scenes, filters and backgrounds in the user's
// settings, listed and changed.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "library" and its sub-commands to `app`; each stores its exit status in `status`.
void addLibraryCommands(CLI::App& app, int& status);

}  // namespace tav::tool
