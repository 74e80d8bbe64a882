#include "tav/scene/capture_type.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(CaptureType, JsonIsOneKeyNamingTheCase) {
  EXPECT_EQ(encodeJson(CaptureType::display(69733382, "Built-in Display", "37D8832A-2D66-02CA-B9F7-8F30A301B230")),
            R"({"display":{"identifier":69733382,"name":"Built-in Display",)"
            R"("displayUUID":"37D8832A-2D66-02CA-B9F7-8F30A301B230"}})");
  EXPECT_EQ(encodeJson(CaptureType::window(42, "Notes")), R"({"window":{"identifier":42,"name":"Notes"}})");
  EXPECT_EQ(encodeJson(CaptureType::app("com.example.editor", 1, "Editor", "UUID-1")),
            R"({"app":{"identifier":"com.example.editor","display":1,"name":"Editor","displayUUID":"UUID-1"}})");
  EXPECT_EQ(encodeJson(CaptureType::unknown()), R"({"unknown":{}})");

  for (const CaptureType& type : {CaptureType::display(1, "A"), CaptureType::window(2, "B", "com.example.b"),
                                  CaptureType::app("com.example.c", 3, "C"), CaptureType::unknown()}) {
    EXPECT_EQ(decodeJson<CaptureType>(encodeJson(type)), type);
  }
}

TEST(CaptureType, ReadingNeedsExactlyOneCaseKey) {
  EXPECT_THROW(decodeJson<CaptureType>("{}"), DecodingError);
  EXPECT_THROW(decodeJson<CaptureType>(R"({"display":{"identifier":1,"name":"A"},"unknown":{}})"), DecodingError);
  EXPECT_THROW(decodeJson<CaptureType>(R"({"screen":{}})"), DecodingError);
  try {
    decodeJson<CaptureType>(R"({"window":{"name":"A"}})");
    FAIL();
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "window.identifier");
  }
  EXPECT_THROW(decodeJson<CaptureType>(R"({"display":{"identifier":-1,"name":"A"}})"), DecodingError);
}

TEST(CaptureType, IdentifierNameAndDisplayUUID) {
  EXPECT_EQ((std::vector{CaptureType::display(7, "Main", "U").identifier(), CaptureType::window(4294967295u, "W").identifier(),
                         CaptureType::app("com.example.app", 12, "App").identifier(), CaptureType::unknown().identifier()}),
            (std::vector<std::string>{"7", "4294967295", "com.example.app12", "UNKNOWN_CAPTURE_TYPE"}));
  EXPECT_EQ(CaptureType::unknown().name(), "Screen Capture");
  EXPECT_EQ(CaptureType::window(1, "Notes").name(), "Notes");
  EXPECT_EQ(CaptureType::display(7, "Main", "U").displayUUID(), "U");
  EXPECT_EQ(CaptureType::app("a", 1, "A", "V").displayUUID(), "V");
  EXPECT_EQ(CaptureType::window(1, "W", "com.example").displayUUID(), std::nullopt);
}

class FixedIconProvider : public ApplicationIconProvider {
 public:
  SourceIcon icon(std::string_view bundleIdentifier) const override {
    return SourceIcon::applicationIcon(std::string(bundleIdentifier));
  }
};

TEST(CaptureType, ImageFollowsTheCase) {
  EXPECT_EQ(CaptureType::display(1, "D").image(), SourceIcon::symbol("tv"));
  EXPECT_EQ(CaptureType::unknown().image(), SourceIcon::symbol("tv"));
  EXPECT_EQ(CaptureType::window(1, "W").image(), SourceIcon::symbol("macwindow"));
  // Without the host's provider, applications show the placeholder symbol.
  EXPECT_EQ(CaptureType::app("com.example.app", 1, "A").image(), SourceIcon::symbol("app"));

  ApplicationIconProvider::setShared(std::make_shared<FixedIconProvider>());
  EXPECT_EQ(CaptureType::app("com.example.app", 1, "A").image(), SourceIcon::applicationIcon("com.example.app"));
  EXPECT_EQ(CaptureType::window(1, "W", "com.example.w").image(), SourceIcon::applicationIcon("com.example.w"));
  ApplicationIconProvider::setShared(nullptr);
  EXPECT_EQ(CaptureType::app("com.example.app", 1, "A").image(), SourceIcon::symbol("app"));
}

}  // namespace
}  // namespace tav
