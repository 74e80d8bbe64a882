// How events reach the reporter: a receiver of typed events, and small generator objects that each
// publish one kind of event to it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "tav/contracts/any_encodable.hpp"
#include "tav/reporting/app_event_type.hpp"

namespace tav {

/// Takes events. Implementations accept calls from any thread.
class AppEventReceiving {
 public:
  virtual ~AppEventReceiving() = default;
  virtual void receiveEvent(AppEventType type, std::optional<AnyEncodable> object) = 0;
};

/// A generator of one kind of event. A generator class G also has a constructor
/// `G(std::weak_ptr<AppEventReceiving> recipient)` and a static `AppEventType eventType()`; the reporter
/// makes each from its AppEventGeneratorType and keeps it alive.
class AppEventGenerating {
 public:
  virtual ~AppEventGenerating() = default;
  /// The recipient while it lives; null once it is gone or when there is none.
  virtual std::shared_ptr<AppEventReceiving> recipient() const = 0;
  virtual void setRecipient(std::weak_ptr<AppEventReceiving> recipient) = 0;
};

/// A generator class as a value: its event type and how to make one for a recipient.
struct AppEventGeneratorType {
  AppEventType eventType;
  std::function<std::shared_ptr<AppEventGenerating>(std::weak_ptr<AppEventReceiving>)> make;

  template <class Generator>
  static AppEventGeneratorType of() {
    return {Generator::eventType(), [](std::weak_ptr<AppEventReceiving> recipient) -> std::shared_ptr<AppEventGenerating> {
              return std::make_shared<Generator>(std::move(recipient));
            }};
  }
};

/// The base of generators that publish a payload of type Payload. `Derived` is the generator class
/// itself, which must declare `static AppEventType eventType()`:
///
///   class SessionEndedGenerator : public BaseAppEventGenerator<SessionEndedGenerator, NQSTavoSession> {
///    public:
///     using BaseAppEventGenerator::BaseAppEventGenerator;
///     static AppEventType eventType() { return AppEventType::sessionEnded; }
///   };
///
/// The recipient is held weakly; every member may be called from any thread.
template <class Derived, class Payload>
class BaseAppEventGenerator : public AppEventGenerating {
 public:
  explicit BaseAppEventGenerator(std::weak_ptr<AppEventReceiving> recipient) : recipient_(std::move(recipient)) {}

  /// A derived class that does not declare its own eventType reaches this one, which throws
  /// std::logic_error: a programming error.
  static AppEventType eventType() {
    throw std::logic_error("Don't use BaseAppEventGenerator directly, and override eventType in your subclass.");
  }

  std::shared_ptr<AppEventReceiving> recipient() const override {
    std::lock_guard lock(mutex_);
    return recipient_.lock();
  }
  void setRecipient(std::weak_ptr<AppEventReceiving> recipient) override {
    std::lock_guard lock(mutex_);
    recipient_ = std::move(recipient);
  }

  /// Hands `object` (or no payload) to the recipient under Derived::eventType(); nothing when the
  /// recipient is gone.
  void publishEvent(std::optional<Payload> object) const {
    std::shared_ptr<AppEventReceiving> target = recipient();
    if (!target) return;
    std::optional<AnyEncodable> wrapped;
    if (object) wrapped.emplace(std::move(*object));
    target->receiveEvent(Derived::eventType(), std::move(wrapped));
  }

 private:
  mutable std::mutex mutex_;
  std::weak_ptr<AppEventReceiving> recipient_;  // guarded by mutex_
};

}  // namespace tav
