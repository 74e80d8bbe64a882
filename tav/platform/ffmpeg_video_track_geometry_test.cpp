#include <gtest/gtest.h>

#include <cstring>

extern "C" {
#include <libavutil/display.h>
}

#include "tav/contracts/video_track_geometry.hpp"
#include "tav/platform/ffmpeg_handles.hpp"
#include "tav/scene/scene_element.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

/// How the test file says it is turned.
enum class Turn { none, displayMatrix, rotateTag };

/// Writes a one-frame MPEG-4 movie of `width` by `height`, turned a quarter by `turn`.
void writeMovie(const std::filesystem::path& file, int width, int height, Turn turn) {
  AVFormatContext* raw = nullptr;
  ASSERT_GE(avformat_alloc_output_context2(&raw, nullptr, nullptr, file.c_str()), 0);
  FormatContextPtr output(raw);
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
  ASSERT_NE(codec, nullptr);
  CodecContextPtr encoder(avcodec_alloc_context3(codec));
  encoder->width = width;
  encoder->height = height;
  encoder->pix_fmt = AV_PIX_FMT_YUV420P;
  encoder->time_base = AVRational{1, 25};
  if ((output->oformat->flags & AVFMT_GLOBALHEADER) != 0) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  ASSERT_GE(avcodec_open2(encoder.get(), codec, nullptr), 0);
  AVStream* stream = avformat_new_stream(output.get(), nullptr);
  ASSERT_GE(avcodec_parameters_from_context(stream->codecpar, encoder.get()), 0);
  stream->time_base = encoder->time_base;
  if (turn == Turn::displayMatrix) {
    auto* matrix = reinterpret_cast<std::int32_t*>(av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, 9 * 4));
    ASSERT_NE(matrix, nullptr);
    av_display_rotation_set(matrix, 90);
  } else if (turn == Turn::rotateTag) {
    av_dict_set(&stream->metadata, "rotate", "90", 0);
  }
  ASSERT_GE(avio_open(&output->pb, file.c_str(), AVIO_FLAG_WRITE), 0);
  ASSERT_GE(avformat_write_header(output.get(), nullptr), 0);
  FramePtr frame(av_frame_alloc());
  frame->width = width;
  frame->height = height;
  frame->format = AV_PIX_FMT_YUV420P;
  ASSERT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  for (int plane = 0; plane < 3; ++plane) {
    std::memset(frame->data[plane], 128, static_cast<std::size_t>(frame->linesize[plane] * (plane == 0 ? height : height / 2)));
  }
  frame->pts = 0;
  PacketPtr packet(av_packet_alloc());
  for (AVFrame* input : {frame.get(), static_cast<AVFrame*>(nullptr)}) {
    ASSERT_GE(avcodec_send_frame(encoder.get(), input), 0);
    while (avcodec_receive_packet(encoder.get(), packet.get()) >= 0) {
      av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
      packet->stream_index = stream->index;
      ASSERT_GE(av_interleaved_write_frame(output.get(), packet.get()), 0);
    }
  }
  ASSERT_GE(av_write_trailer(output.get()), 0);
}

TEST(VideoTrackGeometry, AFileRecordedOnItsSideGivesItsDisplayedSize) {
  testing::ScratchDirectory directory("tav-track-geometry");
  struct Case {
    const char* name;
    Turn turn;
    Size expected;
  };
  const Case cases[] = {{"plain.mp4", Turn::none, {64, 32}},
                        {"matrix.mp4", Turn::displayMatrix, {32, 64}},
                        {"tagged.mkv", Turn::rotateTag, {32, 64}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::filesystem::path file = directory / c.name;
    writeMovie(file, 64, 32, c.turn);
    const std::optional<VideoTrackGeometry> geometry = readVideoTrackGeometry(file);
    ASSERT_TRUE(geometry);
    EXPECT_EQ(std::tuple(geometry->naturalSize, geometry->displaySize()), std::tuple(Size{64, 32}, c.expected));

    const SceneElement layer = SceneElement::fromVideoURL(Url::fileUrl(file), Size{1920, 1080});
    const auto* video = layer.type().videoSettings();
    EXPECT_EQ(std::tie(video->originalWidth, video->originalHeight), std::make_tuple(c.expected.width, c.expected.height));
    // Its shape on the canvas: (h / w) * (1920 * 0.25) / 1080.
    EXPECT_DOUBLE_EQ(*layer.settings().height, c.expected.height / c.expected.width * 480 / 1080);
  }
  EXPECT_FALSE(readVideoTrackGeometry(directory.write("empty.mp4", "")));
}

}  // namespace
}  // namespace tav
