// The "tavo gif ..." commands: what GIF playback reads of a file, and its frames as pictures.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "gif info" and "gif frames" to `app`; each stores its exit status in `status` when it runs.
void addGifCommands(CLI::App& app, int& status);

}  // namespace tav::tool
