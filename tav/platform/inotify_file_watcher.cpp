// watchFile over inotify. The folder is watched rather than the file, because a file replaced by a
// rename is a new inode and a watch on the old one would see nothing more.
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>
#include <thread>

#include "tav/contracts/file_watcher.hpp"
#include "tav/contracts/logger.hpp"

namespace tav {
namespace {

/// One open file descriptor, closed with the object.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

constexpr std::uint32_t kChangeMask = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE;

/// What the watching thread uses; shared with it so that a watcher destroyed by its own handler
/// leaves the thread something valid to finish with.
struct WatchLoop {
  std::string name;
  std::function<void()> onChange;
  FileDescriptor inotify{::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
  FileDescriptor stop{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};

  void run() {
    alignas(inotify_event) std::array<char, 16 * 1024> buffer{};
    std::array<pollfd, 2> fds{pollfd{inotify.get(), POLLIN, 0}, pollfd{stop.get(), POLLIN, 0}};
    while (true) {
      if (::poll(fds.data(), fds.size(), -1) < 0) {
        if (errno == EINTR) continue;
        logger().error("watching {} stopped: {}", name, std::strerror(errno));
        return;
      }
      if (fds[1].revents != 0) return;
      bool changed = false;
      while (true) {
        const ssize_t length = ::read(inotify.get(), buffer.data(), buffer.size());
        if (length <= 0) break;
        for (ssize_t offset = 0; offset < length;) {
          const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
          if ((event->mask & IN_Q_OVERFLOW) != 0) changed = true;  // events were lost; look again
          if (event->len > 0 && name == event->name) changed = true;
          offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
      }
      if (changed && onChange) onChange();
    }
  }

  static const Logger& logger() {
    static const Logger instance("InotifyFileWatcher");
    return instance;
  }
};

class InotifyFileWatcher final : public FileWatcher {
 public:
  InotifyFileWatcher(const std::filesystem::path& file, std::function<void()> onChange)
      : loop_(std::make_shared<WatchLoop>()) {
    loop_->name = file.filename().string();
    loop_->onChange = std::move(onChange);
    if (loop_->inotify.get() < 0 || loop_->stop.get() < 0) {
      throw std::system_error(errno, std::generic_category(), "inotify");
    }
    std::filesystem::path folder = file.parent_path().empty() ? std::filesystem::path(".") : file.parent_path();
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    if (::inotify_add_watch(loop_->inotify.get(), folder.c_str(), kChangeMask) < 0) {
      throw std::system_error(errno, std::generic_category(), "cannot watch " + folder.string());
    }
    thread_ = std::thread([loop = loop_] { loop->run(); });
  }

  ~InotifyFileWatcher() override {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(loop_->stop.get(), &one, sizeof one);
    if (thread_.get_id() == std::this_thread::get_id()) {
      thread_.detach();  // destroyed by its own handler: the loop sees the stop when the handler returns
    } else {
      thread_.join();
    }
  }

 private:
  std::shared_ptr<WatchLoop> loop_;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<FileWatcher> watchFile(const std::filesystem::path& file, std::function<void()> onChange) {
  return std::make_unique<InotifyFileWatcher>(file, std::move(onChange));
}

}  // namespace tav
