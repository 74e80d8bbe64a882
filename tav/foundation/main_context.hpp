// The main context: the one thread (or serial dispatcher) where the host keeps the state that its
// interface shows, such as the audio mixer's sources. The library has no main loop of its own, so the
// host says which thread is main and, if it has a loop there, installs a dispatcher onto it.
#pragma once

#include <functional>
#include <thread>

namespace tav {

/// Process-wide. Every member may be called from any thread.
///
/// The main context is the thread the host declared main (setMainThread), else the thread that first
/// touched MainContext, and also any work running through post(). So work posted from a background
/// thread may touch main-context state, whichever dispatcher runs it.
///
/// Without an installed dispatcher, posted work runs in order on one worker thread owned by the
/// library. That worker is not the declared main thread, so a host that has a main loop should install
/// a dispatcher onto that loop; otherwise posted work and the declared thread may run at the same time.
class MainContext {
 public:
  using Work = std::function<void()>;
  /// Runs each work item it is given, later and in the order given, on the host's main context.
  using Dispatcher = std::function<void(Work)>;

  MainContext() = delete;

  /// True on the main thread, or inside work running through post().
  static bool isCurrent();

  /// Declares `thread` (by default the calling thread) the main thread from now on.
  static void setMainThread(std::thread::id thread = std::this_thread::get_id());

  /// Runs `work` later on the main context, through the installed dispatcher; never runs it before
  /// returning. An exception thrown by `work` is logged and swallowed on the library's own worker; a
  /// host dispatcher decides for itself.
  static void post(Work work);

  /// Installs the host's dispatcher; an empty one restores the library's own worker. Work posted
  /// before the change runs where it was posted.
  static void setDispatcher(Dispatcher dispatcher);
};

}  // namespace tav
