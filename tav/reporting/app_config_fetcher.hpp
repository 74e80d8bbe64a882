// Keeps a local copy of the configuration the online service serves: fetched on a 15-minute timer and
// whenever the network comes back, the last good one persisted in the settings, and subclasses told
// when a new one arrives. AppConfigFetcher knows nothing of how a configuration is fetched; its
// subclass AppSessionAppConfigFetcher (app_session_app_config_fetcher.hpp) talks to NQS.
#pragma once

#include <chrono>
#include <concepts>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/network_path_monitor.hpp"
#include "tav/contracts/run_loop.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/foundation/batch_throttler.hpp"
#include "tav/foundation/codable_user_default.hpp"
#include "tav/foundation/exception_description.hpp"
#include "tav/foundation/serial_queue.hpp"
#include "tav/foundation/unfair_lock.hpp"

namespace tav {

/// A configuration type: coded to JSON by its JsonCoder, and named in storage by `configKey()`.
template <class Config>
concept AppConfig = std::copyable<Config> && requires(const Config& config, JsonWriter& writer, const JsonValue& json,
                                                      const JsonPath& path) {
  { Config::configKey() } -> std::convertible_to<std::string>;
  JsonCoder<Config>::encode(writer, config);
  { JsonCoder<Config>::decode(json, path) } -> std::same_as<Config>;
};

/// The outcome of one fetch: a configuration, or the error that took its place.
template <class Config>
class AppConfigResult {
 public:
  AppConfigResult(Config config) : value_(std::move(config)) {}             // NOLINT: implicit by design
  AppConfigResult(std::exception_ptr error) : value_(std::move(error)) {}   // NOLINT
  bool isSuccess() const { return value_.index() == 0; }
  /// The configuration; null on a failure.
  const Config* config() const { return std::get_if<Config>(&value_); }
  /// The error; null on a success.
  std::exception_ptr error() const {
    const auto* error = std::get_if<std::exception_ptr>(&value_);
    return error != nullptr ? *error : nullptr;
  }
  /// The error's text, empty on a success.
  std::string errorDescription() const { return describe(error()); }

 private:
  std::variant<Config, std::exception_ptr> value_;
};

/// What a fetcher runs on; each empty member takes the process's own.
struct AppConfigFetcherEnvironment {
  std::shared_ptr<UserDefaults> defaults;              // UserDefaults::standard()
  /// Where the 15-minute timer fires; must outlive the fetcher. MainContextRunLoop::shared() when null.
  RunLoop* runLoop = nullptr;
  std::shared_ptr<TaskScheduler> throttleQueue;        // TaskScheduler::utility()
  std::unique_ptr<NetworkPathMonitor> networkMonitor;  // makeNetworkPathMonitor()
};

namespace detail {

/// The part of AppConfigFetcher that does not depend on the configuration's type: the timer, the
/// network path handler and its throttle, and the fetch lock.
class AppConfigFetcherCore : public std::enable_shared_from_this<AppConfigFetcherCore> {
 public:
  static constexpr std::string_view networkMonitorQueueLabel =
      "com.morvane.shared.tav.AppConfigFetcher.networkMonitorQueue";
  static constexpr std::chrono::seconds updateInterval{900};
  static constexpr std::chrono::seconds networkThrottleDelay{60};
  static constexpr std::string_view networkThrottleKey = "config";

  virtual ~AppConfigFetcherCore();
  AppConfigFetcherCore(const AppConfigFetcherCore&) = delete;
  AppConfigFetcherCore& operator=(const AppConfigFetcherCore&) = delete;

  /// Makes a `Fetcher` from `arguments` and starts it: arms the timer, loads the persisted
  /// configuration, starts the network path monitor, then whatever the subclass adds (an
  /// AppSessionAppConfigFetcher starts its app session).
  template <class Fetcher, class... Arguments>
  static std::shared_ptr<Fetcher> create(Arguments&&... arguments) {
    auto fetcher = std::make_shared<Fetcher>(std::forward<Arguments>(arguments)...);
    static_cast<AppConfigFetcherCore&>(*fetcher).start();
    return fetcher;
  }

  /// True from a successful tryStartFetch until finishFetch.
  bool isFetching() const;
  /// Marks a fetch as running; false, changing nothing, when one is running already.
  bool tryStartFetch();
  void finishFetch();
  /// Fetches the configuration; called by the timer and, throttled, on network recovery. A subclass
  /// must override it: this one throws std::logic_error("Override fetchConfig in your
  /// _AppConfigFetcher subclass!").
  virtual void fetchConfig();

  /// The queue the network path handler runs on.
  SerialQueue& networkMonitorQueue() { return networkMonitorQueue_; }

 protected:
  explicit AppConfigFetcherCore(AppConfigFetcherEnvironment& environment);
  /// Arms the timer, calls loadPersistedConfig, starts the monitor. An override calls this first.
  virtual void start();
  virtual void loadPersistedConfig() = 0;

 private:
  void networkPathChanged(const NetworkPath& path);

  // Declared before the monitor, so that the monitor is cancelled while its queue still exists.
  SerialQueue networkMonitorQueue_{std::string(networkMonitorQueueLabel)};
  RunLoop* runLoop_;
  std::unique_ptr<RunLoopTimer> updateTimer_;
  std::optional<NetworkPathStatus> previousPathStatus_;  // used on networkMonitorQueue_ only
  BatchThrottler networkThrottler_;
  mutable UnfairLock fetchLock_;
  bool isFetching_ = false;  // guarded by fetchLock_
  std::unique_ptr<NetworkPathMonitor> networkMonitor_;
};

}  // namespace detail

/// The generic fetcher. A subclass overrides fetchConfig (and the didReceive hooks if it wants them),
/// reports each outcome with setResult, and is made with `create<Subclass>(...)`.
///
/// Threads: every member may be called from any thread. `cacheLock` guards the current and previous
/// configuration and the write of the persisted copy; `fetchLock` guards isFetching; neither is held
/// while a hook runs, and they are never nested. The network handler runs on networkMonitorQueue, the
/// throttled fetch on the throttle queue, the timer on its run loop. A fetcher lives as long as the
/// host holds it; its timer, monitor and throttled work end with it.
template <AppConfig Config>
class AppConfigFetcher : public detail::AppConfigFetcherCore {
 public:
  using Result = AppConfigResult<Config>;

  /// "NQSAppSessionConfig_" + Config::configKey(): where the last good configuration is kept.
  static std::string persistenceKey() { return "NQSAppSessionConfig_" + std::string(Config::configKey()); }

  /// Use create(); a fetcher made otherwise has no timer, no monitor and no persisted configuration.
  explicit AppConfigFetcher(AppConfigFetcherEnvironment environment = {})
      : AppConfigFetcherCore(environment),
        persistedConfig_(persistenceKey(), std::nullopt,
                         environment.defaults ? environment.defaults : UserDefaults::standard(), false) {}

  /// The current configuration: the last one fetched, else the persisted one.
  std::optional<Config> config() const {
    return cacheLock_.whileLocked([this] { return cachedConfig_; });
  }
  /// The configuration before the current one; replaced by every good fetch, equal or not.
  std::optional<Config> previousConfig() const {
    return cacheLock_.whileLocked([this] { return previousConfig_; });
  }
  /// The last outcome; absent before the first.
  std::optional<Result> result() const { return result_.wrappedValue(); }

  /// Stores `result`, calls didReceive(result), and with a configuration makes it the current one
  /// (the old one becomes previousConfig, the new one is persisted) and calls didReceive(config). A
  /// failure or an empty result leaves the configuration as it was.
  void setResult(std::optional<Result> result) {
    result_.setWrappedValue(result);
    didReceive(result);
    if (result && result->config() != nullptr) setConfig(*result->config());
  }

  /// Hooks for subclasses; these do nothing.
  virtual void didReceive(const std::optional<Result>& result) { (void)result; }
  virtual void didReceive(const Config& config) { (void)config; }

 private:
  void loadPersistedConfig() final {
    std::optional<Config> persisted = persistedConfig_.get();
    cacheLock_.whileLocked([&] { cachedConfig_ = std::move(persisted); });
  }

  void setConfig(const Config& config) {
    cacheLock_.whileLocked([&] {
      previousConfig_ = std::exchange(cachedConfig_, config);
      persistedConfig_.set(config);
    });
    didReceive(config);
  }

  mutable UnfairLock cacheLock_;
  std::optional<Config> cachedConfig_;    // guarded by cacheLock_
  std::optional<Config> previousConfig_;  // guarded by cacheLock_
  Locked<std::optional<Result>> result_;
  CodableUserDefault<std::optional<Config>> persistedConfig_;
};

}  // namespace tav
