// Signpost intervals for the system's profilers: begin and end events that perf, bpftrace and
// systemtap see as USDT probes of the provider "tavo".
//
// A probe is a single no-op instruction until a tracer attaches, so intervals cost nothing when nobody
// listens. The probes are `tavo:signpost_begin` and `tavo:signpost_end`, each with five arguments: the
// interval id (uint64), then the subsystem, category, name and message as C strings.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tav {

/// One signpost event as an in-process listener sees it.
struct SignpostEvent {
  enum class Kind { begin, end };
  Kind kind;
  std::uint64_t id;
  std::string_view subsystem;
  std::string_view category;
  std::string_view name;
  std::string_view message;
};

/// A log object for signposts, named by subsystem and category. Thread-safe; ids are unique within the
/// process.
class SignpostLog {
 public:
  using Listener = std::function<void(const SignpostEvent&)>;

  SignpostLog(std::string subsystem, std::string category);

  const std::string& subsystem() const { return subsystem_; }
  const std::string& category() const { return category_; }

  /// A fresh interval id, never 0.
  std::uint64_t makeSignpostID() const;
  /// `name` and `message` are NUL-terminated texts, handed to the probe as they are.
  void beginInterval(std::uint64_t id, const char* name, const char* message) const;
  void endInterval(std::uint64_t id, const char* name, const char* message) const;

  /// Installs a process-wide listener that receives every event besides the probe (an empty one removes
  /// it). For in-process tracing and tests; not while events are being emitted on other threads.
  static void setListener(Listener listener);

 private:
  void emit(SignpostEvent::Kind kind, std::uint64_t id, const char* name, const char* message) const;

  std::string subsystem_;
  std::string category_;
};

}  // namespace tav
