#include "tav/contracts/network_path_monitor.hpp"

#include "tav/foundation/serial_queue.hpp"

namespace tav {

struct ScriptedNetworkPathMonitor::Shared {
  std::mutex mutex;
  Handler handler;                 // guarded by mutex
  SerialQueue* queue = nullptr;    // guarded by mutex; set between start() and cancel()
  NetworkPath path;                // guarded by mutex

  void report(const NetworkPath& reported) {
    // Posted under the lock so reports reach the queue in the order of the updates.
    if (queue == nullptr) return;
    queue->async([handler = handler, reported] {
      if (handler) handler(reported);
    });
  }
};

ScriptedNetworkPathMonitor::ScriptedNetworkPathMonitor(NetworkPath initial) : shared_(std::make_shared<Shared>()) {
  shared_->path = std::move(initial);
}

ScriptedNetworkPathMonitor::~ScriptedNetworkPathMonitor() { cancel(); }

void ScriptedNetworkPathMonitor::setPathUpdateHandler(Handler handler) {
  std::lock_guard lock(shared_->mutex);
  shared_->handler = std::move(handler);
}

void ScriptedNetworkPathMonitor::start(SerialQueue& queue) {
  std::lock_guard lock(shared_->mutex);
  shared_->queue = &queue;
  shared_->report(shared_->path);
}

void ScriptedNetworkPathMonitor::cancel() {
  std::lock_guard lock(shared_->mutex);
  shared_->queue = nullptr;
}

NetworkPath ScriptedNetworkPathMonitor::currentPath() const {
  std::lock_guard lock(shared_->mutex);
  return shared_->path;
}

void ScriptedNetworkPathMonitor::update(NetworkPath path) {
  std::lock_guard lock(shared_->mutex);
  shared_->path = std::move(path);
  shared_->report(shared_->path);
}

}  // namespace tav
