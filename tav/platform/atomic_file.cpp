#include "tav/platform/atomic_file.hpp"

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tav {
namespace {

[[noreturn]] void throwErrno(int error, const std::string& what, const std::filesystem::path& file) {
  throw std::system_error(error, std::generic_category(), what + " " + file.string());
}

/// Closes a descriptor on every path out of a function.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  int get() const { return fd_; }

 private:
  int fd_;
};

void writeAll(int fd, std::string_view bytes, const std::filesystem::path& file) {
  while (!bytes.empty()) {
    ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      throwErrno(errno, "cannot write", file);
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

constexpr std::string_view kTemporarySuffix = ".tmp-";
constexpr std::size_t kTemporaryRandomLength = 6;  // mkstemp's XXXXXX

/// A temporary file beside `file` that is removed unless it was renamed into place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::filesystem::path& file) {
    std::string pattern = file.string() + std::string(kTemporarySuffix) + std::string(kTemporaryRandomLength, 'X');
    fd_ = ::mkstemp(pattern.data());
    if (fd_ < 0) throwErrno(errno, "cannot create a temporary file for", file);
    path_ = pattern;
  }
  ~TemporaryFile() {
    if (fd_ >= 0) ::close(fd_);
    if (!committed_) ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int fd() const { return fd_; }

  /// Flushes the data and the mode, then renames the file over `file` and flushes the directory.
  void commit(const std::filesystem::path& file, mode_t mode) {
    if (::fchmod(fd_, mode) != 0) throwErrno(errno, "cannot set the mode of", path_);
    if (::fsync(fd_) != 0) throwErrno(errno, "cannot flush", path_);
    int result = ::close(fd_);
    fd_ = -1;
    if (result != 0) throwErrno(errno, "cannot write", path_);
    if (::rename(path_.c_str(), file.c_str()) != 0) throwErrno(errno, "cannot replace", file);
    committed_ = true;
    syncDirectory(file.parent_path().empty() ? std::filesystem::path(".") : file.parent_path());
  }

 private:
  static void syncDirectory(const std::filesystem::path& directory) {
    FileDescriptor fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // The new content is in place; a directory that cannot be flushed only weakens the guarantee
    // across a power cut, so it is not worth failing a write that has already succeeded.
    if (fd.get() >= 0) ::fsync(fd.get());
  }

  std::filesystem::path path_;
  int fd_ = -1;
  bool committed_ = false;
};

}  // namespace

void writeFileAtomically(const std::filesystem::path& file, std::string_view bytes, mode_t mode) {
  TemporaryFile temporary(file);
  writeAll(temporary.fd(), bytes, file);
  temporary.commit(file, mode);
}

void copyFileAtomically(const std::filesystem::path& source, const std::filesystem::path& destination,
                        mode_t mode) {
  FileDescriptor input(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
  if (input.get() < 0) throwErrno(errno, "cannot open", source);
  TemporaryFile temporary(destination);
  char buffer[1 << 16];
  for (;;) {
    ssize_t count = ::read(input.get(), buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      throwErrno(errno, "cannot read", source);
    }
    if (count == 0) break;
    writeAll(temporary.fd(), std::string_view(buffer, static_cast<std::size_t>(count)), destination);
  }
  temporary.commit(destination, mode);
}

std::string readWholeFile(const std::filesystem::path& file) {
  // Not blocking on open: a FIFO put where a file belongs would otherwise hang the reader.
  FileDescriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd.get() < 0) throwErrno(errno, "cannot open", file);
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) throwErrno(errno, "cannot read", file);
  if (S_ISDIR(status.st_mode)) throwErrno(EISDIR, "cannot read", file);
  if (!S_ISREG(status.st_mode)) throwErrno(EINVAL, "not a regular file:", file);
  std::string content;
  char buffer[1 << 16];
  for (;;) {
    ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      throwErrno(errno, "cannot read", file);
    }
    if (count == 0) break;
    content.append(buffer, static_cast<std::size_t>(count));
  }
  return content;
}

std::vector<std::filesystem::path> removeStaleTemporaryFiles(const std::filesystem::path& file) {
  std::vector<std::filesystem::path> removed;
  const std::filesystem::path directory = file.parent_path().empty() ? "." : file.parent_path();
  const std::string prefix = file.filename().string() + std::string(kTemporarySuffix);
  std::error_code error;
  std::filesystem::directory_iterator entries(directory, error);
  if (error) return removed;
  for (const auto& entry : entries) {
    const std::string name = entry.path().filename().string();
    if (name.size() != prefix.size() + kTemporaryRandomLength || name.compare(0, prefix.size(), prefix) != 0) continue;
    std::error_code kind;
    if (!entry.is_regular_file(kind)) continue;
    std::error_code removal;
    if (std::filesystem::remove(entry.path(), removal)) removed.push_back(entry.path());
  }
  return removed;
}

}  // namespace tav
