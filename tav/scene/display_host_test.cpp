#include "tav/scene/display_host.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

std::string hostOf(std::string_view text) { return displayHost(*Url::parse(text)); }

TEST(DisplayHost, ShortHostsLoseOnlyTheirWorldWideWebPrefix) {
  EXPECT_EQ(hostOf("https://www.example.com/live?x=1"), "example.com");
  EXPECT_EQ(hostOf("https://example.com/live"), "example.com");
  EXPECT_EQ(hostOf("https://wwwexample.com"), "wwwexample.com");
}

TEST(DisplayHost, LongTextIsCutBeforeThePrefixGoes) {
  // 30 characters stay as they are; 31 are cut to 30 and "…".
  EXPECT_EQ(hostOf("https://abcdefghijklmnopqrstuvwxyz.com"), "abcdefghijklmnopqrstuvwxyz.com");
  EXPECT_EQ(hostOf("https://abcdefghijklmnopqrstuvwxyz.info"), "abcdefghijklmnopqrstuvwxyz.inf\u2026");
  // The cut counts "www.", so 26 characters of the name are left after it.
  EXPECT_EQ(hostOf("https://www.abcdefghijklmnopqrstuvwxyz.com"), "abcdefghijklmnopqrstuvwxyz\u2026");
}

TEST(DisplayHost, TextWithoutHostIsUsedWholeAndCutByCharacters) {
  EXPECT_EQ(hostOf("www.example.com/page"), "example.com/page");
  std::string thirty;
  for (int i = 0; i < 30; ++i) thirty += "\u00e9";
  EXPECT_EQ(hostOf(thirty + "\u00e9"), thirty + "\u2026");  // 31 characters, 62 bytes
  EXPECT_EQ(hostOf(thirty), thirty);
}

}  // namespace
}  // namespace tav
