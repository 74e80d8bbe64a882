// One logger per class, labelled with the class's name, at the levels debug, info and error.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace spdlog {
class logger;
}

namespace tav {

/// Thread-safe. Messages are fmt format strings; what happens to them is the installed sink's
/// business (standard error by default, at level info and above; TAV_LOG_LEVEL=debug shows more).
class Logger {
 public:
  explicit Logger(std::string label);

  const std::string& label() const { return label_; }

  template <class... Args>
  void debug(fmt::format_string<Args...> format, Args&&... args) const {
    write(Level::debug, fmt::format(format, std::forward<Args>(args)...));
  }
  template <class... Args>
  void info(fmt::format_string<Args...> format, Args&&... args) const {
    write(Level::info, fmt::format(format, std::forward<Args>(args)...));
  }
  template <class... Args>
  void error(fmt::format_string<Args...> format, Args&&... args) const {
    write(Level::error, fmt::format(format, std::forward<Args>(args)...));
  }

 private:
  enum class Level { debug, info, error };
  void write(Level level, const std::string& message) const;

  std::string label_;
  std::shared_ptr<spdlog::logger> logger_;
};

}  // namespace tav
