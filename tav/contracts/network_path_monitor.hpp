// Whether the machine has a usable network path, and word when that changes.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tav {

class SerialQueue;

enum class NetworkPathStatus { satisfied, unsatisfied };

/// The network path as the monitor sees it: its status and the interfaces that carry it.
struct NetworkPath {
  NetworkPathStatus status = NetworkPathStatus::unsatisfied;
  std::vector<std::string> interfaces;  // sorted by name
  friend bool operator==(const NetworkPath&, const NetworkPath&) = default;
};

/// Reports the path once after start() and then each time it changes, on the queue given to start(),
/// one report at a time and in order. The handler may be set before start() only. cancel() stops the
/// reports (a report already posted may still run); the destructor cancels. The queue must outlive the
/// monitor or its cancel().
class NetworkPathMonitor {
 public:
  using Handler = std::function<void(const NetworkPath&)>;
  virtual ~NetworkPathMonitor() = default;

  virtual void setPathUpdateHandler(Handler handler) = 0;
  virtual void start(SerialQueue& queue) = 0;
  virtual void cancel() = 0;
  /// The last path reported (unsatisfied before the first report).
  virtual NetworkPath currentPath() const = 0;
};

/// The running system's monitor (defined in tavcommon_platform).
std::unique_ptr<NetworkPathMonitor> makeNetworkPathMonitor();

/// A monitor that reports what the test tells it: after start(), each update() is one report.
class ScriptedNetworkPathMonitor final : public NetworkPathMonitor {
 public:
  explicit ScriptedNetworkPathMonitor(NetworkPath initial = {});
  ~ScriptedNetworkPathMonitor() override;

  void setPathUpdateHandler(Handler handler) override;
  void start(SerialQueue& queue) override;
  void cancel() override;
  NetworkPath currentPath() const override;

  /// Reports `path` (posted to the queue) when started; before start() it becomes the first report.
  void update(NetworkPath path);
  void update(NetworkPathStatus status) { update(NetworkPath{status, {}}); }

 private:
  struct Shared;
  std::shared_ptr<Shared> shared_;
};

}  // namespace tav
