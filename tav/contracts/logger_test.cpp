#include "tav/contracts/logger.hpp"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace tav
