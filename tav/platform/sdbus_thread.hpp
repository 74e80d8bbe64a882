// One sd-bus connection driven by a thread of its own, with work posted to that thread.
//
// sd-bus connections are not thread-safe: every use of the bus happens on this thread, in tasks posted
// with post() and in the handlers sd-bus calls while processing.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

struct sd_bus;

namespace tav {

struct SdBusUnref {
  void operator()(sd_bus* bus) const;
};
using SdBusHandle = std::unique_ptr<sd_bus, SdBusUnref>;

/// Opens a client connection to the bus at `address` (a D-Bus address such as "unix:path=/run/..."), or
/// to the session bus when `address` is empty. Throws std::system_error naming what failed.
SdBusHandle openSdBus(const std::string& address);

/// Owns the bus and the thread from construction to destruction. post() may be called from any thread,
/// also from a task on this thread. The destructor runs the tasks already posted, then stops the thread
/// and closes the bus; replies still outstanding are dropped.
class SdBusThread {
 public:
  explicit SdBusThread(SdBusHandle bus);
  ~SdBusThread();
  SdBusThread(const SdBusThread&) = delete;
  SdBusThread& operator=(const SdBusThread&) = delete;

  /// The bus, for use on this thread only.
  sd_bus* bus() const { return bus_.get(); }
  void post(std::function<void()> task);

 private:
  void run();

  SdBusHandle bus_;
  int wakeFd_ = -1;
  std::mutex mutex_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  bool stopping_ = false;                    // guarded by mutex_
  std::thread thread_;
};

}  // namespace tav
