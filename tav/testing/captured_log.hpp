// Catches every log line written while it lives, for tests that check what was logged.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "tav/contracts/logger.hpp"

namespace tav::testing {

/// Installs itself as the process's log sink and restores standard error when destroyed. One at a
/// time; lines may come from any thread.
class CapturedLog {
 public:
  struct Line {
    std::string label;
    LogLevel level;
    std::string text;
  };

  CapturedLog() {
    Logger::setSink([this](const LogMessage& message) {
      std::lock_guard lock(mutex_);
      lines_.push_back({std::string(message.label), message.level, std::string(message.text)});
    });
  }
  ~CapturedLog() { Logger::setSink({}); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  /// The texts of the lines of `label`, in order.
  std::vector<std::string> texts(const std::string& label) const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> texts;
    for (const auto& line : lines_) {
      if (line.label == label) texts.push_back(line.text);
    }
    return texts;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;  // guarded by mutex_
};

}  // namespace tav::testing
