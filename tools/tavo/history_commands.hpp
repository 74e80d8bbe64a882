// tavo history: a past stream's record, summarised for people or brought up to the current schema.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "history" and its sub-commands to `app`; each stores its exit status in `status`.
void addHistoryCommands(CLI::App& app, int& status);

}  // namespace tav::tool
