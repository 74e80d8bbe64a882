// The "tavo nqs ..." commands: talking to the online service by hand, for people who support the
// application.
#pragma once

#include <CLI/CLI.hpp>

namespace tav::tool {

/// Adds "nqs" with "ping" and "send-event" to `app`. Each sub-command stores its exit status in
/// `status` when it runs.
void addNqsCommands(CLI::App& app, int& status);

}  // namespace tav::tool
