// Watching one file for changes made by anyone, this process or another: the settings file that
// several processes of the application share.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>

namespace tav {

/// Watches while it lives. Destroying it stops the watching; once the destructor returns the handler
/// is not called again (a destructor called from inside the handler itself does not wait for it).
class FileWatcher {
 public:
  virtual ~FileWatcher() = default;
};

/// Calls `onChange` on a thread of the watcher after the file at `file` was written, replaced (an
/// atomic rename onto it included), created or removed; a burst of changes may be reported once.
/// The file need not exist yet; its folder is created when missing. Throws std::system_error when the
/// folder cannot be watched. Defined by the platform library (tavcommon_platform), with inotify.
std::unique_ptr<FileWatcher> watchFile(const std::filesystem::path& file, std::function<void()> onChange);

}  // namespace tav
