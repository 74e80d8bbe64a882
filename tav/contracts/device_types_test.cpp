#include "tav/contracts/device_types.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(ConnectionType, KeepsUnknownTextsForWritingBack) {
  auto known = decodeJson<ConnectionType>(R"("systemAudio")");
  EXPECT_EQ(std::tuple(known, known.caseIndex()), std::tuple(ConnectionType::systemAudio, 9u));
  auto later = decodeJson<ConnectionType>(R"("satelliteLink")");
  EXPECT_EQ(later.caseIndex(), std::nullopt);
  EXPECT_FALSE(later.isKnown());
  EXPECT_EQ(encodeJson(later), R"("satelliteLink")");
  EXPECT_THROW(decodeJson<ConnectionType>("3"), DecodingError);
}

TEST(ConnectionType, CaseOrderGivesTheIconNumbering) {
  EXPECT_EQ(ConnectionType::continuityCamera.caseIndex(), 0u);
  EXPECT_EQ(ConnectionType::mobilePhone.caseIndex(), 1u);
  EXPECT_EQ(ConnectionType::phoneApp.caseIndex(), 4u);
  EXPECT_EQ(ConnectionType::mediaFile.caseIndex(), 7u);
  EXPECT_EQ(ConnectionType::network.caseIndex(), 10u);
  EXPECT_EQ(ConnectionType::virtual_.rawValue(), "virtual");
  EXPECT_EQ(ConnectionType::allCases().size(), 11u);
}

TEST(BackgroundMode, OpenValuesCompareByText) {
  EXPECT_EQ(BackgroundMode("blur"), BackgroundMode::blur);
  EXPECT_NE(BackgroundMode("Blur"), BackgroundMode::blur);
  EXPECT_EQ(std::hash<BackgroundMode>()(BackgroundMode("blur")), std::hash<BackgroundMode>()(BackgroundMode::blur));
  EXPECT_EQ(TrackingMode::allCases().front(), TrackingMode::off);
}

}  // namespace
}  // namespace tav
