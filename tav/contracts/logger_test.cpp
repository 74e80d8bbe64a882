#include "tav/contracts/logger.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tav {
namespace {

TEST(Logger, LoggersSharingALabelBothWriteLabelledLines) {
  Logger first("TavoRecorder");
  Logger second("TavoRecorder");
  ::testing::internal::CaptureStderr();
  first.error("dropped {} frames", 3);
  second.error("braces {{}} stay as written: {}", "{x}");
  first.debug("not shown at the default level");
  std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("[TavoRecorder] dropped 3 frames"), std::string::npos) << log;
  EXPECT_NE(log.find("[TavoRecorder] braces {} stay as written: {x}"), std::string::npos) << log;
  if (std::getenv("TAV_LOG_LEVEL") == nullptr) {
    EXPECT_EQ(log.find("not shown"), std::string::npos) << log;
  }
}

// Restores standard error and the levels a test changed.
struct RoutingReset {
  ~RoutingReset() {
    Logger::setSink(nullptr);
    Logger::setLevel(LogLevel::info);
    Logger::clearLevel("TavoWriter");
  }
};

TEST(Logger, HostSinkReceivesLinesThatPassTheirLabelsLevel) {
  RoutingReset reset;
  std::vector<std::string> lines;
  Logger::setSink([&](const LogMessage& message) {
    lines.push_back(std::string(message.label) + "/" + std::to_string(static_cast<int>(message.level)) + "/" +
                    std::string(message.text));
  });
  Logger writer("TavoWriter");
  Logger recorder("TavoRecorder");
  Logger::setLevel(LogLevel::error);
  Logger::setLevel("TavoWriter", LogLevel::debug);

  writer.debug("frame {}", 1);
  recorder.info("not at error level");
  recorder.error("failed");
  Logger::clearLevel("TavoWriter");
  writer.debug("back to the general level");
  Logger::setLevel(LogLevel::off);
  recorder.error("everything off");

  EXPECT_EQ(lines, (std::vector<std::string>{"TavoWriter/0/frame 1", "TavoRecorder/2/failed"}));
  EXPECT_EQ(Logger::level("TavoWriter"), LogLevel::off);
}

}  // namespace
}  // namespace tav
