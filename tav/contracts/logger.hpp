// One logger per class, labelled with the class's name, at the levels debug, info and error; and the
// process-wide routing of what they write: a sink the host installs and levels set per label.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace spdlog::sinks {
class sink;
}

namespace tav {

enum class LogLevel { debug, info, error, off };

/// One line as a sink receives it. The views are valid only during the sink's call.
struct LogMessage {
  std::string_view label;  ///< the writing class's name, such as "TavoWriter"
  LogLevel level = LogLevel::info;
  std::string_view text;   ///< already formatted
  std::chrono::system_clock::time_point time;
};

/// Receives every line that passes its label's level. Calls are serialised: a sink is never entered by
/// two threads at once, so it needs no lock of its own, but it runs on the logging thread (frame and
/// network paths among them) and should return quickly.
using LogSink = std::function<void(const LogMessage&)>;

/// Thread-safe. Messages are fmt format strings, formatted only when the label's level lets them
/// through. By default lines go to standard error at level info and above; TAV_LOG_LEVEL sets the
/// starting levels ("debug", "info", "error", "off", or a list such as "error,TavoWriter=debug").
class Logger {
 public:
  explicit Logger(std::string label);
  Logger(const Logger& other) : Logger(other.label_) {}
  Logger& operator=(const Logger& other) {
    label_ = other.label_;
    cachedGeneration_.store(0);
    return *this;
  }

  const std::string& label() const { return label_; }

  template <class... Args>
  void debug(fmt::format_string<Args...> format, Args&&... args) const {
    if (enabled(LogLevel::debug)) write(LogLevel::debug, fmt::format(format, std::forward<Args>(args)...));
  }
  template <class... Args>
  void info(fmt::format_string<Args...> format, Args&&... args) const {
    if (enabled(LogLevel::info)) write(LogLevel::info, fmt::format(format, std::forward<Args>(args)...));
  }
  template <class... Args>
  void error(fmt::format_string<Args...> format, Args&&... args) const {
    if (enabled(LogLevel::error)) write(LogLevel::error, fmt::format(format, std::forward<Args>(args)...));
  }

  /// Whether a line at `level` would be written now.
  bool enabled(LogLevel level) const;

  // Process-wide routing. Each may be called at any time from any thread; it takes effect for lines
  // written after it returns.

  /// Sends every line to `sink`; an empty sink restores standard error.
  static void setSink(LogSink sink);
  /// Sends every line to an spdlog sink (its pattern's %n is the label); null restores standard error.
  static void setSpdlogSink(std::shared_ptr<spdlog::sinks::sink> sink);
  /// The level of every label that has none of its own.
  static void setLevel(LogLevel level);
  /// The level of one label, overriding the general one.
  static void setLevel(std::string_view label, LogLevel level);
  /// Drops a label's own level, so the general one applies to it again.
  static void clearLevel(std::string_view label);
  /// The level that applies to `label` now.
  static LogLevel level(std::string_view label);

 private:
  void write(LogLevel level, const std::string& message) const;

  std::string label_;
  // The label's level as of a generation of the routing settings; refreshed when they change.
  mutable std::atomic<std::uint64_t> cachedGeneration_{0};
  mutable std::atomic<LogLevel> cachedLevel_{LogLevel::info};
};

/// Parses a level's name ("debug", "info", "error", "off"); absent for any other text.
std::optional<LogLevel> logLevelNamed(std::string_view name);

}  // namespace tav
