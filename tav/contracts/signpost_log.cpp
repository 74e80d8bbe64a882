#include "tav/contracts/signpost_log.hpp"

#include <sys/sdt.h>

#include <memory>
#include <mutex>
#include <utility>

namespace tav {
namespace {

std::atomic<std::uint64_t> nextSignpostID{1};

// The listener is replaced whole, never edited, so an emitting thread keeps a complete one alive while it
// calls it. The flag spares the mutex on every event while nobody listens.
struct ListenerSlot {
  std::mutex mutex;
  std::shared_ptr<const SignpostLog::Listener> listener;  // guarded by mutex
};
ListenerSlot& listenerSlot() {
  static ListenerSlot slot;
  return slot;
}
std::atomic<bool> hasListener{false};

std::shared_ptr<const SignpostLog::Listener> currentListener() {
  std::lock_guard lock(listenerSlot().mutex);
  return listenerSlot().listener;
}

}  // namespace

SignpostLog::SignpostLog(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

std::uint64_t SignpostLog::makeSignpostID() const { return nextSignpostID.fetch_add(1, std::memory_order_relaxed); }

void SignpostLog::beginInterval(std::uint64_t id, const char* name, const char* message) const {
  emit(SignpostEvent::Kind::begin, id, name, message);
}

void SignpostLog::endInterval(std::uint64_t id, const char* name, const char* message) const {
  emit(SignpostEvent::Kind::end, id, name, message);
}

void SignpostLog::setListener(Listener listener) {
  std::lock_guard lock(listenerSlot().mutex);
  listenerSlot().listener = listener ? std::make_shared<const Listener>(std::move(listener)) : nullptr;
  hasListener.store(listenerSlot().listener != nullptr, std::memory_order_release);
}

void SignpostLog::emit(SignpostEvent::Kind kind, std::uint64_t id, const char* name,
                       const char* message) const {
  const char* subsystem = subsystem_.c_str();
  const char* category = category_.c_str();
  if (kind == SignpostEvent::Kind::begin) {
    DTRACE_PROBE5(tavo, signpost_begin, id, subsystem, category, name, message);
  } else {
    DTRACE_PROBE5(tavo, signpost_end, id, subsystem, category, name, message);
  }
  if (hasListener.load(std::memory_order_acquire)) {
    if (auto listener = currentListener()) {
      (*listener)(SignpostEvent{kind, id, subsystem_, category_, name, message});
    }
  }
}

}  // namespace tav
