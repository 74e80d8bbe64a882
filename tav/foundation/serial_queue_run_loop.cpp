#include "tav/foundation/serial_queue_run_loop.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>

#include "tav/foundation/main_context.hpp"

namespace tav {
namespace {

using Clock = SerialQueue::Clock;

/// Shared by a timer's handle and the ticks scheduled for it; the ticks hold it weakly, so it dies with
/// the handle.
struct TimerState {
  /// Held while the action runs, so that invalidate() from another thread waits for a running action;
  /// recursive, so that the action may invalidate its own timer.
  std::recursive_mutex mutex;
  std::function<void()> action;  // guarded by mutex; empty once invalidated
  /// A fire posted to the main context and not yet run.
  std::atomic<bool> pending{false};
};

/// Runs the action unless the timer was invalidated; false when it was.
bool fire(TimerState& state) {
  std::lock_guard lock(state.mutex);
  if (!state.action) return false;
  // A copy, since the action may invalidate the timer, which empties the stored one.
  const std::function<void()> action = state.action;
  action();
  return true;
}

bool isValid(TimerState& state) {
  std::lock_guard lock(state.mutex);
  return static_cast<bool>(state.action);
}

class ScheduledTimer final : public RunLoopTimer {
 public:
  explicit ScheduledTimer(std::shared_ptr<TimerState> state) : state_(std::move(state)) {}
  ~ScheduledTimer() override { invalidate(); }
  void invalidate() override {
    std::lock_guard lock(state_->mutex);
    state_->action = nullptr;
  }

 private:
  std::shared_ptr<TimerState> state_;
};

using Deliver = std::function<void(const std::shared_ptr<TimerState>&)>;

/// Schedules the tick due at `due` on `queue`; each tick delivers and schedules the next one on the
/// timer's grid, skipping grid points already past.
void scheduleTick(SerialQueue& queue, std::weak_ptr<TimerState> weak, Clock::time_point due, Clock::duration interval,
                  Deliver deliver) {
  const Clock::duration delay = std::max(Clock::duration::zero(), due - Clock::now());
  queue.asyncAfter(delay, [&queue, weak, due, interval, deliver = std::move(deliver)]() mutable {
    const std::shared_ptr<TimerState> state = weak.lock();
    if (!state || !isValid(*state)) return;
    deliver(state);
    Clock::time_point next = due + interval;
    const Clock::time_point now = Clock::now();
    if (next <= now) next += interval * ((now - next) / interval + 1);
    scheduleTick(queue, std::move(weak), next, interval, std::move(deliver));
  });
}

std::unique_ptr<RunLoopTimer> schedule(SerialQueue& queue, RunLoop::Interval interval, std::function<void()> action,
                                       Deliver deliver) {
  // A platform timer runs no faster than every tenth of a millisecond.
  const double seconds = std::isfinite(interval.count()) ? std::max(interval.count(), 1e-4) : 1e9;
  const auto step = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  auto state = std::make_shared<TimerState>();
  state->action = std::move(action);
  scheduleTick(queue, state, Clock::now() + step, step, std::move(deliver));
  return std::make_unique<ScheduledTimer>(std::move(state));
}

}  // namespace

std::unique_ptr<RunLoopTimer> SerialQueueRunLoop::scheduleRepeating(Interval interval, std::function<void()> action) {
  return schedule(queue_, interval, std::move(action), [](const std::shared_ptr<TimerState>& state) { fire(*state); });
}

MainContextRunLoop::MainContextRunLoop()
    : clock_(std::make_unique<SerialQueue>("com.morvane.MainContextRunLoop.timers")) {}

MainContextRunLoop& MainContextRunLoop::shared() {
  // Never destroyed: timers may be invalidated from static destructors of the host.
  static MainContextRunLoop* loop = new MainContextRunLoop();
  return *loop;
}

std::unique_ptr<RunLoopTimer> MainContextRunLoop::scheduleRepeating(Interval interval, std::function<void()> action) {
  return schedule(*clock_, interval, std::move(action), [](const std::shared_ptr<TimerState>& state) {
    if (state->pending.exchange(true)) return;
    MainContext::post([weak = std::weak_ptr<TimerState>(state)] {
      const std::shared_ptr<TimerState> target = weak.lock();
      if (!target) return;
      target->pending = false;
      fire(*target);
    });
  });
}

}  // namespace tav
