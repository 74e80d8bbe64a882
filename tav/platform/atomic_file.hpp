// Whole-file reads and crash-safe whole-file replacement for the file-backed stores.
//
// A store that rewrites its file in place can leave it half written when the process dies or the disk
// fills; replacing it through a temporary file in the same directory means a reader only ever sees the
// old content or the new one.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace tav {

/// Replaces `file` with `bytes`: writes a temporary file beside it, flushes it to disk, renames it over
/// `file` and flushes the directory, so the rename itself survives a crash. The parent directory must
/// exist. Throws std::system_error naming the file; on failure `file` is unchanged and no temporary
/// file is left behind. Thread-safe for different files.
void writeFileAtomically(const std::filesystem::path& file, std::string_view bytes, mode_t mode = 0644);

/// Copies `source` to `destination` the same way (the destination appears whole or not at all).
void copyFileAtomically(const std::filesystem::path& source, const std::filesystem::path& destination,
                        mode_t mode = 0644);

/// The whole content of `file`. Throws std::system_error naming the file when it is missing, cannot be
/// read, is a directory (EISDIR) or is not a regular file (EINVAL; a FIFO or a device is never waited on).
std::string readWholeFile(const std::filesystem::path& file);

/// Removes the temporary files ("<file>.tmp-XXXXXX") that writeFileAtomically leaves beside `file`
/// when the process is killed mid-write, and returns their paths. Call it before the first write of
/// a file that only this process writes: a temporary file of a live writer would be removed too.
/// Failures are ignored (what cannot be removed is retried at the next call).
std::vector<std::filesystem::path> removeStaleTemporaryFiles(const std::filesystem::path& file);

}  // namespace tav
