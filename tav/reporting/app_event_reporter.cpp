#include "tav/reporting/app_event_reporter.hpp"

#include <algorithm>
#include <stdexcept>

namespace tav {

void JsonCoder<AppEventRequest>::encode(JsonWriter& w, const AppEventRequest& v) {
  w.beginObject();
  w.field("id", v.id);
  w.field("type", v.type);
  if (v.data) {
    w.key("data");
    w.beginObject();
    w.field("object", v.data->object);
    w.endObject();
  }
  w.field("dateCreated", v.dateCreated);
  w.endObject();
}

AppEventResponse JsonCoder<AppEventResponse>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);  // an object of any content
  return {};
}

AppEventReporter::AppEventReporter(Environment environment)
    : scheduler_(environment.scheduler ? std::move(environment.scheduler) : TaskScheduler::utility()),
      now_(environment.now ? std::move(environment.now) : [] { return std::chrono::system_clock::now(); }),
      requestor_(std::make_unique<NQSRequestor>(std::move(environment.transport), std::move(environment.identity))) {
  requestor_->encoder().keyEncodingStrategy = KeyEncodingStrategy::convertToSnakeCase;
}

std::vector<AppEventGeneratorType> AppEventReporter::generatorTypes() const {
  throw std::logic_error("Override in your subclass.");
}

NQSRequestor::Platform AppEventReporter::platform() const { throw std::logic_error("Override in your subclass."); }

void AppEventReporter::start() {
  requestor_->setPlatform(platform());
  std::vector<std::shared_ptr<AppEventGenerating>> made;
  const std::weak_ptr<AppEventReceiving> self = weak_from_this();
  for (const AppEventGeneratorType& type : generatorTypes()) made.push_back(type.make(self));
  generators_.setWrappedValue(std::move(made));
}

std::optional<std::vector<std::shared_ptr<AppEventGenerating>>> AppEventReporter::generators() const {
  return generators_.wrappedValue();
}

void AppEventReporter::receiveEvent(AppEventType type, std::optional<AnyEncodable> object) {
  AppEventRequest event{Uuid::random(), type, std::nullopt, now_()};
  if (object) event.data = AppEventRequest::EventData{std::move(*object)};
  // Encoding and handing over to the transport happen off the caller's thread.
  scheduler_->async([weak = weak_from_this(), event = std::move(event)] {
    if (auto self = weak.lock()) self->send(event);
  });
}

void AppEventReporter::send(const AppEventRequest& event) {
  requestor_->post<AppEventResponse>(
      eventsPath, {}, Requestor::Body::json(event),
      [weak = weak_from_this(), event](const RequestResult<AppEventResponse>& result) {
        auto self = weak.lock();
        if (!self) return;
        if (result.isSuccess()) {
          self->didSucceed();
        } else {
          self->didFail(event, result.error());
        }
      });
}

void AppEventReporter::didFail(const AppEventRequest& event, const RequestorError& error) {
  logger_.error("Error while reporting app event ({}) to NQS: {}", rawValue(event.type), error.what());
  if (!isRetryable(error)) return;
  pendingEvents_.mutate([&](std::vector<AppEventRequest>& queue) {
    queue.push_back(event);
    if (queue.size() > maximumPendingEvents) {
      queue.erase(queue.begin(), queue.end() - static_cast<std::ptrdiff_t>(maximumPendingEvents));
    }
  });
  // A burst of failures within one wait counts once: only a failure that finds no retry armed adds.
  const int failures = consecutiveFailures_.mutate([&](int& count) {
    if (!retryScheduled_.wrappedValue()) ++count;
    return count;
  });
  scheduleRetry(retryDelay(failures));
}

void AppEventReporter::didSucceed() {
  consecutiveFailures_.setWrappedValue(0);
  const bool hasPending = pendingEvents_.mutate([](const std::vector<AppEventRequest>& queue) { return !queue.empty(); });
  if (hasPending) flushPendingEvents();
}

std::chrono::seconds AppEventReporter::retryDelay(int failures) {
  if (failures < 1) return std::chrono::seconds(0);
  long long delay = 5;
  for (int i = 1; i < std::min(failures, 5); ++i) delay *= 3;
  return std::chrono::seconds(std::min(delay, 300LL));
}

void AppEventReporter::scheduleRetry(std::chrono::seconds delay) {
  const bool alreadyScheduled = retryScheduled_.mutate([](bool& scheduled) { return std::exchange(scheduled, true); });
  if (alreadyScheduled) return;
  scheduler_->asyncAfter(delay, [weak = weak_from_this()] {
    auto self = weak.lock();
    if (!self) return;
    self->retryScheduled_.setWrappedValue(false);
    self->flushPendingEvents();
  });
}

void AppEventReporter::flushPendingEvents() {
  if (flushing_.mutate([](bool& flushing) { return std::exchange(flushing, true); })) return;
  const std::vector<AppEventRequest> taken =
      pendingEvents_.mutate([](std::vector<AppEventRequest>& queue) { return std::exchange(queue, {}); });
  for (const AppEventRequest& event : taken) send(event);
  flushing_.setWrappedValue(false);
}

void AppEventReporter::screenViewed(ReportableScreenType screen, std::optional<std::string> page,
                                    std::optional<ReportableSource> source) {
  report(AppEventType::screenViewed, ScreenViewedEvent{screen, std::move(page), source});
}
void AppEventReporter::buttonClicked(ReportableButtonType button, std::optional<ReportableSource> source) {
  report(AppEventType::buttonClicked, ButtonClickedEvent{std::move(button), source});
}
void AppEventReporter::linkClicked(std::string uid, LinkClickedEvent::LinkClickedType type, Url url) {
  report(AppEventType::linkClicked, LinkClickedEvent{std::move(uid), type, std::move(url)});
}
void AppEventReporter::videoPlayed(std::string uid) {
  report(AppEventType::videoPlayed, VideoPlayedEvent{std::move(uid)});
}
void AppEventReporter::sceneAdded(NewSceneEvent::NewSceneEventType source) {
  report(AppEventType::sceneAdded, NewSceneEvent{source});
}
void AppEventReporter::sceneRemoved() { receiveEvent(AppEventType::sceneRemoved, std::nullopt); }
void AppEventReporter::sceneUpdated() { receiveEvent(AppEventType::sceneUpdated, std::nullopt); }
void AppEventReporter::sceneSelected() { receiveEvent(AppEventType::sceneSelected, std::nullopt); }
void AppEventReporter::sceneDuplicated() { receiveEvent(AppEventType::sceneDuplicated, std::nullopt); }
void AppEventReporter::streamPanelAdded(Url url) {
  report(AppEventType::streamPanelAdded, StreamPanelEvent{std::move(url)});
}
void AppEventReporter::streamPanelRemoved(Url url) {
  report(AppEventType::streamPanelRemoved, StreamPanelEvent{std::move(url)});
}
void AppEventReporter::streamingServiceSetup(std::string type) {
  report(AppEventType::streamDestinationSetupStarted, StreamingServiceEvent{std::move(type)});
}
void AppEventReporter::streamingServiceAdded(std::string type) {
  report(AppEventType::streamDestinationAdded, StreamingServiceEvent{std::move(type)});
}
void AppEventReporter::streamingServiceRemoved(std::string type) {
  report(AppEventType::streamDestinationRemoved, StreamingServiceEvent{std::move(type)});
}
void AppEventReporter::fullScreenEnabled() { receiveEvent(AppEventType::fullScreenEnabled, std::nullopt); }
void AppEventReporter::fullScreenDisabled() { receiveEvent(AppEventType::fullScreenDisabled, std::nullopt); }
void AppEventReporter::streamDeckConnected(std::optional<std::string> model, std::optional<std::string> clientVersion,
                                           std::optional<int> protocolVersion) {
  report(AppEventType::streamDeckConnected, StreamDeckEvent{std::move(model), std::move(clientVersion), protocolVersion});
}
void AppEventReporter::streamFailed(StreamFailedEvent event) { report(AppEventType::streamFailed, std::move(event)); }
void AppEventReporter::externalControlAction(ExternalControlInvoker invoker, std::string action, int count,
                                             std::optional<std::string> model) {
  report(AppEventType::externalControlAction,
         ExternalControlActionEvent{invoker, std::move(action), count, std::move(model)});
}
void AppEventReporter::addOnPrompted(std::string uid) {
  report(AppEventType::addOnPrompted, AddOnEvent{std::move(uid), std::nullopt});
}
void AppEventReporter::addOnInstalled(std::string uid, std::optional<ReportableSource> source) {
  report(AppEventType::addOnInstalled, AddOnEvent{std::move(uid), source});
}
void AppEventReporter::addOnUpgraded(std::string uid) {
  report(AppEventType::addOnUpgraded, AddOnEvent{std::move(uid), std::nullopt});
}
void AppEventReporter::addOnUninstalled(std::string uid) {
  report(AppEventType::addOnUninstalled, AddOnEvent{std::move(uid), std::nullopt});
}

}  // namespace tav
