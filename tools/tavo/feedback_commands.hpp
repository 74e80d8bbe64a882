// "tavo feedback" and "tavo config fetch": sending feedback with attachments, and reading the remote
// configuration the online service serves, through the library's own reporter and fetcher.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "feedback" and "config" (with "fetch") to `app`. Each stores its exit status in `status` when
/// it runs.
void addFeedbackCommands(CLI::App& app, int& status);

}  // namespace tav::tool
