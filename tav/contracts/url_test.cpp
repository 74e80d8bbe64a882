#include "tav/contracts/url.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tav {
namespace {

Url url(std::string_view text) { return *Url::parse(text); }

TEST(Url, AnswersPartsOfWebAddresses) {
  Url page = url("https://Example.com:8443/docs/a%20b/file.tar.gz?x=1#top");
  EXPECT_EQ(page.host(), "Example.com");
  EXPECT_EQ(page.scheme(), "https");
  EXPECT_EQ(page.path(), "/docs/a b/file.tar.gz");
  EXPECT_EQ(page.lastPathComponent(), "file.tar.gz");
  EXPECT_EQ(page.pathExtension(), "gz");
  EXPECT_FALSE(page.isFileUrl());

  Url custom = url("tavo://scene/42");
  EXPECT_EQ(custom.host(), "scene");
  EXPECT_EQ(custom.path(), "/42");

  Url bare = url("https://example.com");
  EXPECT_EQ(bare.path(), "");
  EXPECT_EQ(bare.lastPathComponent(), "");
  EXPECT_EQ(url("https://example.com/folder/").lastPathComponent(), "folder");
  EXPECT_EQ(url("file:///home/u/.profile").pathExtension(), "");
}

TEST(Url, TextWithoutSchemeIsAUrlWithoutHost) {
  EXPECT_FALSE(Url::parse("").has_value());
  Url relative = url("images/photo one.png");
  EXPECT_EQ(relative.absoluteString(), "images/photo one.png");
  EXPECT_FALSE(relative.host().has_value());
  EXPECT_EQ(relative.scheme(), "");
  EXPECT_EQ(relative.path(), "images/photo one.png");
  EXPECT_EQ(relative.lastPathComponent(), "photo one.png");
  EXPECT_EQ(relative.pathExtension(), "png");
  EXPECT_FALSE(url("file:///tmp/x").host().has_value());
  EXPECT_FALSE(url("mailto:someone@example.com").host().has_value());
}

TEST(Url, FileUrlEncodesAndRoundTrips) {
  Url file = Url::fileUrl("/tmp/My Clips/take #1 100%?.mov");
  EXPECT_EQ(file.absoluteString(), "file:///tmp/My%20Clips/take%20%231%20100%25%3F.mov");
  EXPECT_TRUE(file.isFileUrl());
  EXPECT_EQ(file.filePath(), std::filesystem::path("/tmp/My Clips/take #1 100%?.mov"));
  EXPECT_EQ(file.pathExtension(), "mov");

  Url accented = Url::fileUrl("/tmp/Café.png");
  EXPECT_EQ(accented.absoluteString(), "file:///tmp/Caf%C3%A9.png");
  EXPECT_EQ(accented.lastPathComponent(), "Café.png");

  Url relative = Url::fileUrl("clip.mov");
  EXPECT_TRUE(relative.filePath().is_absolute());
  EXPECT_EQ(relative.filePath(), std::filesystem::current_path() / "clip.mov");
}

TEST(Url, AppendingPathComponentKeepsQueryAndFragmentOut) {
  EXPECT_EQ(url("https://api.example.com/nqs?key=1#f").appendingPathComponent("events").absoluteString(),
            "https://api.example.com/nqs/events?key=1#f");
  EXPECT_EQ(url("https://api.example.com").appendingPathComponent("v1").absoluteString(),
            "https://api.example.com/v1");
  EXPECT_EQ(url("https://api.example.com/base/").appendingPathComponent("a b#c").absoluteString(),
            "https://api.example.com/base/a%20b%23c");
  Url folder = Url::fileUrl("/tmp/a b");
  EXPECT_EQ(folder.appendingPathComponent("c.txt").filePath(), std::filesystem::path("/tmp/a b/c.txt"));
}

TEST(Url, JsonAcceptsAnyNonEmptyString) {
  EXPECT_EQ(decodeJson<Url>(R"("not a url at all")").absoluteString(), "not a url at all");
  EXPECT_EQ(encodeJson(url("https://example.com/x")), R"("https://example.com/x")");
  EXPECT_THAT([] { (void)decodeJson<Url>(R"("")"); },
              ::testing::ThrowsMessage<DecodingError>(::testing::StrEq("(document): expected a URL")));
  EXPECT_THROW(decodeJson<Url>("3"), DecodingError);
}

}  // namespace
}  // namespace tav
