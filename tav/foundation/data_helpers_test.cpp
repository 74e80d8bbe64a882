#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tav/foundation/collection_helpers.hpp"
#include "tav/foundation/digest.hpp"
#include "tav/foundation/hexadecimal.hpp"
#include "tav/foundation/markdown_links.hpp"
#include "tav/foundation/size_helpers.hpp"
#include "tav/foundation/time_text.hpp"
#include "tav/foundation/web_address.hpp"

namespace tav {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(Hexadecimal, ReadsRunsOfOneOrTwoDigitsAndSkipsTheRest) {
  EXPECT_EQ(hexadecimal("0aFF"), (Bytes{0x0A, 0xFF}));
  EXPECT_EQ(hexadecimal("a"), (Bytes{0x0A}));
  EXPECT_EQ(hexadecimal("a b"), (Bytes{0x0A, 0x0B}));
  EXPECT_EQ(hexadecimal("abc"), (Bytes{0xAB, 0x0C}));        // a third digit starts the next byte
  EXPECT_EQ(hexadecimal("de:ad-BE:ef"), (Bytes{0xDE, 0xAD, 0xBE, 0xEF}));
  EXPECT_EQ(hexadecimal("xyz"), std::nullopt);
  EXPECT_EQ(hexadecimal(""), std::nullopt);
}

TEST(Digest, MatchesTheStandardVectors) {
  EXPECT_EQ(sha1(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(sha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha1Bytes("abc").size(), 20u);
  EXPECT_EQ(sha256Bytes("abc").size(), 32u);
  std::vector<std::byte> data = sha1Data("abc");
  ASSERT_EQ(data.size(), 20u);
  EXPECT_EQ(data[0], std::byte{0xa9});
  EXPECT_EQ(data[19], std::byte{0x9d});
  // coreutils: printf '\xc3\xa9' | sha1sum
  EXPECT_EQ(sha1("\xc3\xa9"), "bf15be717ac1b080b4f1c456692825891ff5073d");
}

TEST(MarkdownLinks, ReplacesEachLinkAtItsShiftedPlaceAndLeavesOtherBracketsAlone) {
  LinkedText text = withParsedMarkdownLinks("See [our site](https://a.example) and [help](https://b.example/h) now");
  EXPECT_EQ(text.string, "See our site and help now");
  EXPECT_EQ(text.links, (std::vector<TextLink>{{4, 8, "https://a.example", 0}, {17, 4, "https://b.example/h", 0}}));

  // Brackets without a target, and nested brackets, are left alone.
  for (const char* input : {"a [title] with no target", "[outer [inner] text](x)", "no links here"}) {
    LinkedText unchanged = withParsedMarkdownLinks(input);
    EXPECT_EQ(unchanged.string, input);
    EXPECT_TRUE(unchanged.links.empty()) << input;
  }
  // The target may not hold parentheses.
  EXPECT_TRUE(withParsedMarkdownLinks("[a](b(c))").links.empty());
}

TEST(WebLayerUrl, FollowsTheSchemeAndHostRules) {
  auto valid = [](const char* text) { return validatedWebLayerURL(text).has_value(); };
  std::optional<Url> trimmed = validatedWebLayerURL("  example.com \n");
  ASSERT_TRUE(trimmed);
  EXPECT_EQ(trimmed->absoluteString(), "https://example.com");
  EXPECT_TRUE(valid("http://LOCALHOST:8080/page"));
  EXPECT_TRUE(valid("file:///"));
  EXPECT_TRUE(valid("https://a.b"));
  EXPECT_FALSE(valid("ftp://example.com"));
  EXPECT_FALSE(valid("   "));
  EXPECT_FALSE(valid("https://example"));       // no dot
  EXPECT_FALSE(valid("https://example.com."));  // empty last part
  EXPECT_FALSE(valid("https://.example.com"));
  EXPECT_FALSE(valid("https://a..b"));
  EXPECT_FALSE(valid("https://exa mple.com"));  // does not parse
}

TEST(MorvaneWebsite, AddsTrackingItemsThatWinOverTheAddresssOwn) {
  setMainBundleInfo({"2.4", "311", std::nullopt});
  EXPECT_EQ(utmTrackingItems(), (std::map<std::string, std::string>{{"utm_campaign", "2.4.311"}, {"utm_source", "tavo"}}));
  EXPECT_EQ(utmTrackingQueryString(), "utm_campaign=2.4.311&utm_source=tavo");
  EXPECT_EQ(morvaneWebsiteText("help?utm_source=other&topic=a%20b&flag", false, true),
            "https://www.morvane.com/help?topic=a%20b&utm_campaign=2.4.311&utm_source=tavo");
  EXPECT_EQ(morvaneWebsite("pricing", false, false).absoluteString(), "https://www.morvane.com/pricing");
  setMainBundleInfo({"2.4", "311", "beta"});
  EXPECT_EQ(utmTrackingItems()["utm_campaign"], "2.4.311_beta");
  setMainBundleInfo({});
}

TEST(Stepping, NextAndPreviousWrapOnceNeverReturnTheCurrentAndLookupRefusesOutOfRange) {
  const std::vector<int> one{10};
  const std::vector<int> three{10, 20, 30};
  auto refuseAll = [](const int&) { return true; };
  auto skipTwenty = [](const int& v) { return v == 20; };
  EXPECT_EQ(nextElement(one, 0), std::nullopt);
  EXPECT_EQ(nextElement(three, 2), 10);
  EXPECT_EQ(nextElement(three, 0), 20);
  EXPECT_EQ(nextElement<int>(three, 0, refuseAll), std::nullopt);  // ends at the end, no loop
  EXPECT_EQ(nextElement<int>(three, 1, refuseAll), std::nullopt);  // wraps, stops back at 1
  EXPECT_EQ(nextElement<int>(three, 0, skipTwenty), 30);
  EXPECT_EQ(nextElement<int>(three, 2, [](const int& v) { return v == 10; }), 20);

  // previousElement is the mirror.
  EXPECT_EQ(previousElement(three, 0), 30);
  EXPECT_EQ(previousElement(three, 2), 20);
  EXPECT_EQ(previousElement<int>(three, 2, refuseAll), std::nullopt);
  EXPECT_EQ(previousElement<int>(three, 1, refuseAll), std::nullopt);
  EXPECT_EQ(previousElement<int>(three, 1, [](const int& v) { return v == 10; }), 30);
  EXPECT_EQ(previousElement(std::vector<int>{10}, 0), std::nullopt);

  // Safe lookup refuses out of range.
  EXPECT_EQ(safeAt(three, -1), nullptr);
  EXPECT_EQ(safeAt(three, 3), nullptr);
  ASSERT_NE(safeAt(three, 2), nullptr);
  EXPECT_EQ(*safeAt(three, 2), 30);
  EXPECT_EQ(joinedAsLocalizedList({}), "");
  EXPECT_EQ(joinedAsLocalizedList({"a"}), "a");
  EXPECT_EQ(joinedAsLocalizedList({"a", "b"}), "a and b");
  EXPECT_EQ(joinedAsLocalizedList({"a", "b", "c"}), "a, b and c");
}

TEST(SizeHelpers, CropScaleCompare) {
  const Size hd{1920, 1080};
  EXPECT_DOUBLE_EQ(aspectRatio(Size{4, 2}), 2.0);
  EXPECT_EQ(hd * 0.5, (Size{960, 540}));
  EXPECT_EQ(croppedToRatio(hd, 1920.0 / 1080.0), hd);
  EXPECT_EQ(croppedToRatio(hd, 1.0), (Size{1080, 1080}));  // narrower: 1 * 1080
  EXPECT_EQ(croppedToRatio(hd, 4.0), (Size{1920, 480}));   // lower: 1920 / 4
  EXPECT_DOUBLE_EQ(difference(hd, Size{960, 540}), 1.0);   // (1 - 0.5) + (1 - 0.5)
  EXPECT_TRUE(canFit(hd, Size{1920, 1080}));
  EXPECT_FALSE(canFit(hd, Size{1921, 10}));
}

TEST(TimeText, ClockTextWithAndWithoutHours) {
  EXPECT_EQ(humanReadable(59.9), "00:59");
  EXPECT_EQ(humanReadable(0), "00:00");
  EXPECT_EQ(humanReadable(65), "01:05");
  EXPECT_EQ(humanReadable(3599.99), "59:59");
  EXPECT_EQ(humanReadable(3600), "1:00:00");
  EXPECT_EQ(humanReadable(36125), "10:02:05");
  EXPECT_EQ(humanReadable(std::nan("")), std::nullopt);
  EXPECT_EQ(humanReadable(std::numeric_limits<double>::infinity()), std::nullopt);
}

}  // namespace
}  // namespace tav
