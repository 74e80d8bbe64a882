// tavo probe: what a movie file holds (tracks, duration, fragments, metadata), read back with FFmpeg.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "probe FILE" to `app`; it stores its exit status in `status` when it runs.
void addProbeCommand(CLI::App& app, int& status);

}  // namespace tav::tool
