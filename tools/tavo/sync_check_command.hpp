// tavo sync-check: finds the sync marks (white flashes, beeps) in isolated recordings and reports, as
// JSON, how far each file is from the others and how far its audio is from its video.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "sync-check FOLDER|FILE..." to `app`; it stores its exit status in `status` when it runs.
void addSyncCheckCommand(CLI::App& app, int& status);

}  // namespace tav::tool
