// tavo play: plays a video file as a layer source would, in real time, forwards, looping or bouncing,
// and tells a person how it went: frames, direction and stalls each second, frames as PNG on request,
// and a JSON summary (frames, stalls, the longest gap between frames, peak decoded-frame memory).
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "play FILE [--looping MODE] [--seconds N] [--frames-out DIR --every N] [--json]" to `app`; it
/// stores its exit status in `status` when it runs.
void addPlayCommand(CLI::App& app, int& status);

}  // namespace tav::tool
