// The exit statuses of tavo, after BSD's sysexits: scripts tell a bad document from a missing file.
#pragma once

namespace tav::tool {

enum ExitStatus : int {
  kSuccess = 0,
  kUsage = 64,        // the command line is wrong
  kDataError = 65,    // the input is not a valid document
  kNoInput = 66,      // the input cannot be opened
  kUnavailable = 69,  // the online service could not be reached
  kSoftware = 70,     // an internal failure
  kCannotCreate = 73, // cannot create output: a file the command writes could not be saved
  kProtocol = 76,     // the online service answered with something other than success
};

}  // namespace tav::tool
