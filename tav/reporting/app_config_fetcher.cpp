#include "tav/reporting/app_config_fetcher.hpp"

#include <stdexcept>

#include "tav/foundation/serial_queue_run_loop.hpp"

namespace tav::detail {

AppConfigFetcherCore::AppConfigFetcherCore(AppConfigFetcherEnvironment& environment)
    : runLoop_(environment.runLoop != nullptr ? environment.runLoop : &MainContextRunLoop::shared()),
      networkThrottler_(networkThrottleDelay,
                        environment.throttleQueue ? environment.throttleQueue : TaskScheduler::utility()),
      networkMonitor_(environment.networkMonitor ? std::move(environment.networkMonitor) : makeNetworkPathMonitor()) {}

AppConfigFetcherCore::~AppConfigFetcherCore() {
  networkMonitor_->cancel();
  if (updateTimer_) updateTimer_->invalidate();
}

void AppConfigFetcherCore::start() {
  const std::weak_ptr<AppConfigFetcherCore> weak = weak_from_this();
  // Nothing fires at once: the first tick is one interval from now.
  updateTimer_ = runLoop_->scheduleRepeating(updateInterval, [weak] {
    if (auto self = weak.lock()) self->fetchConfig();
  });
  loadPersistedConfig();
  networkMonitor_->setPathUpdateHandler([weak](const NetworkPath& path) {
    if (auto self = weak.lock()) self->networkPathChanged(path);
  });
  networkMonitor_->start(networkMonitorQueue_);
}

void AppConfigFetcherCore::networkPathChanged(const NetworkPath& path) {
  const std::optional<NetworkPathStatus> old = std::exchange(previousPathStatus_, path.status);
  if (path.status != NetworkPathStatus::satisfied) return;
  if (old == NetworkPathStatus::satisfied) return;
  // Every change to a working network (the first report after start included) asks for one fetch;
  // changes within the throttle's delay merge into it.
  networkThrottler_.throttle(std::string(networkThrottleKey), [weak = weak_from_this()] {
    if (auto self = weak.lock()) self->fetchConfig();
  });
}

bool AppConfigFetcherCore::isFetching() const {
  return fetchLock_.whileLocked([this] { return isFetching_; });
}

bool AppConfigFetcherCore::tryStartFetch() {
  return fetchLock_.whileLocked([this] { return !std::exchange(isFetching_, true); });
}

void AppConfigFetcherCore::finishFetch() {
  fetchLock_.whileLocked([this] { isFetching_ = false; });
}

void AppConfigFetcherCore::fetchConfig() {
  throw std::logic_error("Override fetchConfig in your _AppConfigFetcher subclass!");
}

}  // namespace tav::detail
