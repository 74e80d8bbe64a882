#include "tav/contracts/logger.hpp"

#include <cstdlib>
#include <string_view>

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_color_sinks.h>

namespace tav {
namespace {

// Every Logger writes through this one sink, so lines from different classes never interleave
// mid-line and the colour decision is made once for the terminal.
const std::shared_ptr<spdlog::sinks::sink>& sharedSink() {
  static const std::shared_ptr<spdlog::sinks::sink> sink = [] {
    auto made = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
    made->set_pattern("%Y-%m-%d %H:%M:%S.%e %^%l%$ [%n] %v");
    return std::shared_ptr<spdlog::sinks::sink>(std::move(made));
  }();
  return sink;
}

// TAV_LOG_LEVEL is read once per process: debug, info (the default), error, or off.
spdlog::level::level_enum configuredLevel() {
  static const spdlog::level::level_enum level = [] {
    const char* text = std::getenv("TAV_LOG_LEVEL");
    std::string_view value = text != nullptr ? text : "";
    if (value == "debug") return spdlog::level::debug;
    if (value == "error") return spdlog::level::err;
    if (value == "off") return spdlog::level::off;
    return spdlog::level::info;
  }();
  return level;
}

}  // namespace

Logger::Logger(std::string label) : label_(std::move(label)) {
  // Not registered with spdlog's registry: two Logger objects of the same class are normal and must
  // not collide on the label.
  logger_ = std::make_shared<spdlog::logger>(label_, sharedSink());
  logger_->set_level(configuredLevel());
  logger_->flush_on(spdlog::level::err);
}

void Logger::write(Level level, const std::string& message) const {
  spdlog::level::level_enum target = spdlog::level::info;
  switch (level) {
    case Level::debug:
      target = spdlog::level::debug;
      break;
    case Level::info:
      target = spdlog::level::info;
      break;
    case Level::error:
      target = spdlog::level::err;
      break;
  }
  // The message is already formatted: pass it as plain text so braces in it are not read again.
  logger_->log(target, spdlog::string_view_t(message.data(), message.size()));
}

}  // namespace tav
