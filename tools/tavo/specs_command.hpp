// tavo specs: the machine's particulars, as the library lists them for logs.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "specs [--json]" to `app`; it stores its exit status in `status` when it runs.
void addSpecsCommand(CLI::App& app, int& status);

}  // namespace tav::tool
