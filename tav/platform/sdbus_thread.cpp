#include "tav/platform/sdbus_thread.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <system_error>

#include "tav/contracts/logger.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("SdBusThread");
  return instance;
}

std::uint64_t monotonicMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace

void SdBusUnref::operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }

SdBusHandle openSdBus(const std::string& address) {
  sd_bus* raw = nullptr;
  int result = 0;
  if (address.empty()) {
    result = sd_bus_open_user(&raw);
    if (result < 0) throw std::system_error(-result, std::generic_category(), "cannot connect to the session bus");
    return SdBusHandle(raw);
  }
  result = sd_bus_new(&raw);
  SdBusHandle bus(raw);
  if (result >= 0) result = sd_bus_set_address(raw, address.c_str());
  if (result >= 0) result = sd_bus_set_bus_client(raw, 1);
  if (result >= 0) result = sd_bus_start(raw);
  if (result < 0) {
    throw std::system_error(-result, std::generic_category(), "cannot connect to the bus at \"" + address + "\"");
  }
  return bus;
}

SdBusThread::SdBusThread(SdBusHandle bus) : bus_(std::move(bus)) {
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeFd_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  thread_ = std::thread([this] { run(); });
}

SdBusThread::~SdBusThread() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(wakeFd_, &one, sizeof one);
  thread_.join();
  bus_.reset();
  ::close(wakeFd_);
}

void SdBusThread::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(wakeFd_, &one, sizeof one);
}

void SdBusThread::run() {
  bool connected = true;
  for (;;) {
    std::deque<std::function<void()>> batch;
    bool stopping = false;
    {
      std::lock_guard lock(mutex_);
      batch.swap(tasks_);
      stopping = stopping_;
    }
    for (auto& task : batch) {
      try {
        task();
      } catch (const std::exception& e) {
        logger().error("bus task failed: {}", e.what());
      }
    }
    if (stopping) {
      std::lock_guard lock(mutex_);
      if (tasks_.empty()) return;
      continue;
    }
    int processed = 0;
    while (connected && (processed = sd_bus_process(bus_.get(), nullptr)) > 0) {
    }
    if (connected && processed < 0) {
      // The bus went away (the daemon ended, say): replies fail from now on, and the thread only waits
      // for tasks, which see the closed connection in their own calls.
      logger().error("bus connection lost: {}", std::generic_category().message(-processed));
      connected = false;
    }
    pollfd fds[2] = {{sd_bus_get_fd(bus_.get()), static_cast<short>(sd_bus_get_events(bus_.get())), 0},
                     {wakeFd_, POLLIN, 0}};
    int timeout = -1;
    std::uint64_t until = 0;
    if (sd_bus_get_timeout(bus_.get(), &until) >= 0 && until != std::numeric_limits<std::uint64_t>::max()) {
      const std::uint64_t now = monotonicMicroseconds();
      timeout = until <= now ? 0 : static_cast<int>(std::min<std::uint64_t>((until - now + 999) / 1000, 60'000));
    }
    if (!connected || fds[0].fd < 0) {
      fds[0].fd = -1;  // poll ignores it
      timeout = -1;
    }
    if (::poll(fds, 2, timeout) < 0 && errno != EINTR) {
      logger().error("poll failed: {}", std::generic_category().message(errno));
    }
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t drained = ::read(wakeFd_, &count, sizeof count);
  }
}

}  // namespace tav
