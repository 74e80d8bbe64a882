// "tavo obs import": OBS scenes turned into scene documents, with a JSON report of what was imported,
// approximated and left out.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "import" to the "obs" command `obs`; it stores its exit status in `status` when it runs.
void addObsImportCommand(CLI::App& obs, int& status);

}  // namespace tav::tool
