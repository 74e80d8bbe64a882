#include "tav/contracts/logger.hpp"

#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/stdout_color_sinks.h>

namespace tav {
namespace {

spdlog::level::level_enum spdlogLevel(LogLevel level) {
  switch (level) {
    case LogLevel::debug: return spdlog::level::debug;
    case LogLevel::info: return spdlog::level::info;
    case LogLevel::error: return spdlog::level::err;
    case LogLevel::off: return spdlog::level::off;
  }
  return spdlog::level::info;
}

std::shared_ptr<spdlog::sinks::sink> standardErrorSink() {
  auto sink = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
  sink->set_pattern("%Y-%m-%d %H:%M:%S.%e %^%l%$ [%n] %v");
  return sink;
}

// The routing settings of the process. Every Logger writes through the one sink, so lines of different
// classes never interleave mid-line. `generation` changes with every setting, so that a Logger knows
// when its cached level is stale without taking the lock on every line.
struct Routing {
  std::mutex mutex;
  LogLevel generalLevel = LogLevel::info;                      // guarded by mutex
  std::map<std::string, LogLevel, std::less<>> labelLevels;    // guarded by mutex
  std::shared_ptr<spdlog::sinks::sink> spdlogSink;             // guarded by mutex
  LogSink hostSink;                                            // guarded by mutex
  std::atomic<std::uint64_t> generation{1};

  Routing() : spdlogSink(standardErrorSink()) { readEnvironment(); }

  // TAV_LOG_LEVEL: comma-separated entries, each a level (the general one) or "Label=level".
  void readEnvironment() {
    const char* text = std::getenv("TAV_LOG_LEVEL");
    std::string_view rest = text != nullptr ? text : "";
    while (!rest.empty()) {
      const std::size_t comma = rest.find(',');
      std::string_view entry = rest.substr(0, comma);
      rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
      const std::size_t equals = entry.find('=');
      if (equals == std::string_view::npos) {
        if (auto level = logLevelNamed(entry)) generalLevel = *level;
      } else if (auto level = logLevelNamed(entry.substr(equals + 1))) {
        labelLevels.insert_or_assign(std::string(entry.substr(0, equals)), *level);
      }
    }
  }

  LogLevel levelOf(std::string_view label) {
    auto found = labelLevels.find(label);
    return found != labelLevels.end() ? found->second : generalLevel;
  }

  void changed() { generation.fetch_add(1, std::memory_order_release); }
};

Routing& routing() {
  static Routing instance;
  return instance;
}

}  // namespace

std::optional<LogLevel> logLevelNamed(std::string_view name) {
  if (name == "debug") return LogLevel::debug;
  if (name == "info") return LogLevel::info;
  if (name == "error") return LogLevel::error;
  if (name == "off") return LogLevel::off;
  return std::nullopt;
}

Logger::Logger(std::string label) : label_(std::move(label)) {}

bool Logger::enabled(LogLevel level) const {
  Routing& shared = routing();
  const std::uint64_t generation = shared.generation.load(std::memory_order_acquire);
  if (cachedGeneration_.load(std::memory_order_acquire) != generation) {
    LogLevel current;
    {
      std::lock_guard lock(shared.mutex);
      current = shared.levelOf(label_);
    }
    cachedLevel_.store(current, std::memory_order_relaxed);
    cachedGeneration_.store(generation, std::memory_order_release);
  }
  const LogLevel threshold = cachedLevel_.load(std::memory_order_relaxed);
  return threshold != LogLevel::off && level >= threshold;
}

void Logger::write(LogLevel level, const std::string& message) const {
  Routing& shared = routing();
  std::lock_guard lock(shared.mutex);
  if (shared.hostSink) {
    shared.hostSink(LogMessage{label_, level, message, std::chrono::system_clock::now()});
    return;
  }
  // The message is already formatted: it is passed as plain text so braces in it are not read again.
  spdlog::details::log_msg line(spdlog::string_view_t(label_.data(), label_.size()), spdlogLevel(level),
                                spdlog::string_view_t(message.data(), message.size()));
  shared.spdlogSink->log(line);
  if (level == LogLevel::error) shared.spdlogSink->flush();
}

void Logger::setSink(LogSink sink) {
  Routing& shared = routing();
  std::lock_guard lock(shared.mutex);
  shared.hostSink = std::move(sink);
}

void Logger::setSpdlogSink(std::shared_ptr<spdlog::sinks::sink> sink) {
  Routing& shared = routing();
  std::lock_guard lock(shared.mutex);
  shared.spdlogSink = sink != nullptr ? std::move(sink) : standardErrorSink();
  shared.hostSink = nullptr;
}

void Logger::setLevel(LogLevel level) {
  Routing& shared = routing();
  std::lock_guard lock(shared.mutex);
  shared.generalLevel = level;
  shared.changed();
}

void Logger::setLevel(std::string_view label, LogLevel level) {
  Routing& shared = routing();
  std::lock_guard lock(shared.mutex);
  shared.labelLevels.insert_or_assign(std::string(label), level);
  shared.changed();
}

void Logger::clearLevel(std::string_view label) {
  Routing& shared = routing();
  std::lock_guard lock(shared.mutex);
  if (auto found = shared.labelLevels.find(label); found != shared.labelLevels.end()) {
    shared.labelLevels.erase(found);
    shared.changed();
  }
}

LogLevel Logger::level(std::string_view label) {
  Routing& shared = routing();
  std::lock_guard lock(shared.mutex);
  return shared.levelOf(label);
}

}  // namespace tav
