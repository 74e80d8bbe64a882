#include "tav/contracts/media_stream_type.hpp"

#include <gtest/gtest.h>

#include "tav/contracts/asset_writer.hpp"

namespace tav {
namespace {

TEST(MediaStreamType, RawStringsAndWords) {
  EXPECT_EQ(MediaStreamType::video().rawValue(), "vide");
  EXPECT_EQ(MediaStreamType::audio().rawValue(), "soun");
  EXPECT_EQ(MediaStreamType::text().rawValue(), "text");
  EXPECT_EQ(MediaStreamType::metadata().rawValue(), "meta");
  EXPECT_EQ(MediaStreamType::video().words(), "video");
  EXPECT_EQ(MediaStreamType::audio().words(), "audio");
  EXPECT_EQ(MediaStreamType::metadata().words(), "meta");
  EXPECT_EQ(MediaStreamType("soun"), MediaStreamType::audio());
  EXPECT_NE(MediaStreamType::audio(), MediaStreamType::video());
}

TEST(FileType, RawValues) {
  EXPECT_EQ(rawValue(FileType::quickTimeMovie), "com.apple.quicktime-movie");
  EXPECT_EQ(rawValue(FileType::appleM4A), "com.apple.m4a-audio");
  EXPECT_EQ(rawValue(FileType::mpeg4), "public.mpeg-4");
  EXPECT_EQ(static_cast<int>(AssetWriterStatus::cancelled), 4);
}

}  // namespace
}  // namespace tav
