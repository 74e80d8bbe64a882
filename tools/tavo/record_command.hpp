// tavo record: a recording of synthetic canvases through TavoRecorder, driven as a host drives it.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "record" to `app`; it stores its exit status in `status` when it runs.
void addRecordCommand(CLI::App& app, int& status);

}  // namespace tav::tool
