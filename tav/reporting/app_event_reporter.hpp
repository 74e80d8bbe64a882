// Reports what happens in the application to NQS as small typed events: each is sent at once; those
// that fail to reach the service wait in a short in-memory queue and are retried with back-off.
// Events are fire and forget: no caller learns whether one got through.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tav/contracts/any_encodable.hpp"
#include "tav/contracts/service_date.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/foundation/task_scheduler.hpp"
#include "tav/foundation/unfair_lock.hpp"
#include "tav/reporting/app_event_generating.hpp"
#include "tav/reporting/nqs_requestor.hpp"
#include "tav/reporting/reportable_events.hpp"

namespace tav {

/// The body of one event request: {"id", "type", "data": {"object": payload} (only with a payload),
/// "date_created"} once the requestor's snake-case keys are applied.
struct AppEventRequest {
  struct EventData {
    AnyEncodable object;
  };
  Uuid id;
  AppEventType type;
  std::optional<EventData> data;
  ServiceDate dateCreated;
};

/// The answer to an event: its contents are not read, only whether it is a JSON object.
struct AppEventResponse {};

template <>
struct JsonCoder<AppEventRequest> {
  static void encode(JsonWriter& w, const AppEventRequest& v);
};
template <>
struct JsonCoder<AppEventResponse> {
  static AppEventResponse decode(const JsonValue& json, const JsonPath& path);
};

/// The base class of the host's reporter. The host subclasses it, overrides `platform` and
/// `generatorTypes`, and makes it with `create<Subclass>(...)`, which sets the requestor's platform
/// and makes the generators once the object exists (a C++ constructor cannot reach the overrides).
/// The reporter keeps its generators alive and lives as long as the host holds it; its queue and any
/// retry end with it.
///
/// Threads: every public member may be called from any thread and returns at once: the request is
/// sent from the scheduler, and completions and the retry timer run on background threads. State is
/// four locked values; the only nesting is `retryScheduled` inside `consecutiveFailures`.
///
/// Failures: a failure to reach the service (AppEventReporter::isRetryable) queues the event (at
/// most 16, the oldest pushed out) and arms one retry after 5, 15, 45, 135, then 300 seconds by the
/// number of failures in a row; any other failure (a rejection, an answer that does not decode) drops
/// the event after one error line in the log.
class AppEventReporter : public AppEventReceiving, public std::enable_shared_from_this<AppEventReporter> {
 public:
  static constexpr std::size_t maximumPendingEvents = 16;
  static constexpr std::string_view eventsPath = "nqs/app_events";

  /// What a reporter runs on; each empty member takes the process's own.
  struct Environment {
    std::shared_ptr<RequestTransport> transport;      // RequestTransport::standard()
    std::shared_ptr<const MachineIdentity> identity;  // MachineIdentity::standard()
    std::shared_ptr<TaskScheduler> scheduler;         // TaskScheduler::utility()
    std::function<ServiceDate()> now;                        // the system clock
  };

  /// Makes a `Reporter` (AppEventReporter or a subclass) from `arguments` and starts it: sets the
  /// requestor's platform from platform() and makes each of generatorTypes() with this reporter as
  /// recipient. Throws std::logic_error when the class lacks an override of either.
  template <class Reporter, class... Arguments>
  static std::shared_ptr<Reporter> create(Arguments&&... arguments) {
    auto reporter = std::make_shared<Reporter>(std::forward<Arguments>(arguments)...);
    reporter->start();
    return reporter;
  }

  /// Use create(); a reporter made otherwise has no platform and no generators.
  explicit AppEventReporter(Environment environment = {});
  ~AppEventReporter() override = default;
  AppEventReporter(const AppEventReporter&) = delete;
  AppEventReporter& operator=(const AppEventReporter&) = delete;

  /// The generator classes to make; the base class throws std::logic_error("Override in your subclass.").
  virtual std::vector<AppEventGeneratorType> generatorTypes() const;
  /// The platform for the requestor's User-Agent; the base class throws like generatorTypes.
  virtual NQSRequestor::Platform platform() const;

  /// Builds the request (a fresh id, `type`, `object` under "data"/"object", the time now) and sends
  /// it.
  void receiveEvent(AppEventType type, std::optional<AnyEncodable> object) override;
  /// Sends every queued event again, in queue order, keeping each one's id and date. A flush that
  /// finds another one running does nothing.
  virtual void flushPendingEvents();

  /// The live generators, in the order of generatorTypes(); absent before start.
  std::optional<std::vector<std::shared_ptr<AppEventGenerating>>> generators() const;
  /// The first generator of class `Generator`; null when there is none.
  template <class Generator>
  std::shared_ptr<Generator> generator() const {
    for (const auto& made : generators().value_or(std::vector<std::shared_ptr<AppEventGenerating>>{})) {
      if (auto typed = std::dynamic_pointer_cast<Generator>(made)) return typed;
    }
    return nullptr;
  }
  const NQSRequestor& requestor() const { return *requestor_; }
  /// The state, for hosts that show it and for tests.
  std::vector<AppEventRequest> pendingEvents() { return pendingEvents_.wrappedValue(); }
  int consecutiveFailures() { return consecutiveFailures_.wrappedValue(); }
  bool isRetryScheduled() { return retryScheduled_.wrappedValue(); }

  /// Failures to reach the service are retried; answers of the service are not.
  static bool isRetryable(const RequestorError& error) { return error.isURLLoadingError(); }
  /// The wait before a retry after `failures` failures in a row: 0 for none, else
  /// min(5 * 3^(min(failures, 5) - 1), 300) seconds.
  static std::chrono::seconds retryDelay(int failures);

  // One operation per event that has no generator; each builds its payload and calls receiveEvent.
  void screenViewed(ReportableScreenType screen, std::optional<std::string> page, std::optional<ReportableSource> source);
  void buttonClicked(ReportableButtonType button, std::optional<ReportableSource> source);
  void linkClicked(std::string uid, LinkClickedEvent::LinkClickedType type, Url url);
  void videoPlayed(std::string uid);
  void sceneAdded(NewSceneEvent::NewSceneEventType source);
  void sceneRemoved();
  void sceneUpdated();
  void sceneSelected();
  void sceneDuplicated();
  void streamPanelAdded(Url url);
  void streamPanelRemoved(Url url);
  void streamingServiceSetup(std::string type);
  void streamingServiceAdded(std::string type);
  void streamingServiceRemoved(std::string type);
  void fullScreenEnabled();
  void fullScreenDisabled();
  void streamDeckConnected(std::optional<std::string> model, std::optional<std::string> clientVersion,
                           std::optional<int> protocolVersion);
  void streamFailed(StreamFailedEvent event);
  void externalControlAction(ExternalControlInvoker invoker, std::string action, int count,
                             std::optional<std::string> model);
  void addOnPrompted(std::string uid);
  void addOnInstalled(std::string uid, std::optional<ReportableSource> source);
  void addOnUpgraded(std::string uid);
  void addOnUninstalled(std::string uid);

 private:
  void start();
  void send(const AppEventRequest& event);
  void didFail(const AppEventRequest& event, const RequestorError& error);
  void didSucceed();
  void scheduleRetry(std::chrono::seconds delay);
  template <class Payload>
  void report(AppEventType type, Payload payload) {
    receiveEvent(type, AnyEncodable(std::move(payload)));
  }

  Logger logger_{"AppEventReporter"};
  std::shared_ptr<TaskScheduler> scheduler_;
  std::function<ServiceDate()> now_;
  mutable Locked<std::optional<std::vector<std::shared_ptr<AppEventGenerating>>>> generators_;
  std::unique_ptr<NQSRequestor> requestor_;
  Locked<std::vector<AppEventRequest>> pendingEvents_;
  Locked<bool> retryScheduled_{false};
  Locked<bool> flushing_{false};
  Locked<int> consecutiveFailures_{0};
};

}  // namespace tav
