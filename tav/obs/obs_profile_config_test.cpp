#include "tav/obs/obs_profile_config.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(OBSProfileConfig, ValueReadsOnlyItsSectionFirstMatchWins) {
  const char* ini =
      "\xEF\xBB\xBF[General]\r\nBaseCX=1\r\n; comment line\r\n[Video]\r\n  BaseCX \t= 2560 \r\nBaseCX=1\r\n"
      "Empty=\r\nEq=a=b\r\nno equals here\r\n[Video2]\r\nBaseCY=9\r\n";
  EXPECT_EQ(OBSProfileConfig::value("BaseCX", "Video", ini), "2560");
  EXPECT_EQ(OBSProfileConfig::value("BaseCX", "General", ini), "1");
  EXPECT_EQ(OBSProfileConfig::value("Empty", "Video", ini), "");
  EXPECT_EQ(OBSProfileConfig::value("Eq", "Video", ini), "a=b");
  EXPECT_FALSE(OBSProfileConfig::value("BaseCY", "Video", ini));
  EXPECT_FALSE(OBSProfileConfig::value("BaseCX", "video", ini));  // sections match exactly
  EXPECT_FALSE(OBSProfileConfig::value("BaseCX", "Video", ""));
  EXPECT_FALSE(OBSProfileConfig::value("BaseCX", "Video", "BaseCX=5"));  // outside any section
}

TEST(OBSProfileConfig, ActiveProfileDirectory) {
  EXPECT_EQ(OBSProfileConfig::activeProfileDirectory("[Basic]\nProfile=Mine\nProfileDir=Mine_Dir\n"), "Mine_Dir");
  EXPECT_EQ(OBSProfileConfig::activeProfileDirectory("[Basic]\nProfile=Straße\n"), "Straße");
  EXPECT_FALSE(OBSProfileConfig::activeProfileDirectory("[Basic]\nProfileDir=\nProfile=Other\n"));
  EXPECT_FALSE(OBSProfileConfig::activeProfileDirectory("[General]\nProfileDir=X\n"));
}

TEST(OBSProfileConfig, CanvasSizeNeedsTwoPositiveNumbers) {
  EXPECT_EQ(OBSProfileConfig::canvasSize("[Video]\r\nBaseCX=1920\r\nBaseCY=1080\r\n"), (Size{1920, 1080}));
  EXPECT_EQ(OBSProfileConfig::canvasSize("[Video]\nBaseCX =1280.5\nBaseCY= 720"), (Size{1280.5, 720}));
  EXPECT_FALSE(OBSProfileConfig::canvasSize("[Video]\nBaseCX=1920\n"));
  EXPECT_FALSE(OBSProfileConfig::canvasSize("[Video]\nBaseCX=1920px\nBaseCY=1080\n"));
  EXPECT_FALSE(OBSProfileConfig::canvasSize("[Video]\nBaseCX=0\nBaseCY=1080\n"));
  EXPECT_FALSE(OBSProfileConfig::canvasSize("[Video]\nBaseCX=1 920\nBaseCY=1080\n"));
}

}  // namespace
}  // namespace tav
