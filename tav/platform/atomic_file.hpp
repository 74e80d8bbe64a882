// Whole-file reads and crash-safe whole-file replacement for the file-backed stores.
//
// A store that rewrites its file in place can leave it half written when the process dies or the disk
// fills; replacing it through a temporary file in the same directory means a reader only ever sees the
// old content or the new one.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

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

/// The whole content of `file`. Throws std::system_error naming the file when it is missing or
/// cannot be read.
std::string readWholeFile(const std::filesystem::path& file);

}  // namespace tav
