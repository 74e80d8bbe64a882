// GIF files made on the spot with giflib's encoder, for the tests and benchmarks of GIF playback: each
// frame with its own rectangle, disposal, transparent index, delay and interlacing.
#pragma once

#include <gif_lib.h>

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <vector>

namespace tav::testing {

struct TestGifFrame {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  /// Colour indices, row by row, width * height of them.
  std::vector<std::uint8_t> indices;
  /// Without a graphic control block the frame has no delay, disposal or transparency.
  bool hasControlBlock = true;
  int disposal = DISPOSE_DO_NOT;
  int transparentIndex = NO_TRANSPARENT_COLOR;
  int delayCentiseconds = 10;
  bool interlaced = false;
};

struct TestGif {
  int width = 0;
  int height = 0;
  /// The global colour table; padded to a power of two.
  std::vector<std::array<std::uint8_t, 3>> palette;
  std::optional<int> loopCount;
  std::vector<TestGifFrame> frames;
};

/// The file's bytes. Throws std::runtime_error when giflib refuses the description.
inline std::vector<std::uint8_t> encodeGif(const TestGif& description) {
  struct Sink {
    static int write(GifFileType* gif, const GifByteType* bytes, int length) {
      auto* out = static_cast<std::vector<std::uint8_t>*>(gif->UserData);
      out->insert(out->end(), bytes, bytes + length);
      return length;
    }
  };
  std::vector<std::uint8_t> out;
  int error = 0;
  GifFileType* gif = EGifOpen(&out, Sink::write, &error);
  if (gif == nullptr) throw std::runtime_error("EGifOpen failed");
  const auto fail = [&](const char* what) {
    EGifCloseFile(gif, &error);
    throw std::runtime_error(what);
  };
  int colours = 2;
  while (colours < static_cast<int>(description.palette.size())) colours *= 2;
  std::vector<GifColorType> table(static_cast<std::size_t>(colours), GifColorType{0, 0, 0});
  for (std::size_t i = 0; i < description.palette.size(); ++i) {
    table[i] = GifColorType{description.palette[i][0], description.palette[i][1], description.palette[i][2]};
  }
  ColorMapObject* map = GifMakeMapObject(colours, table.data());
  EGifSetGifVersion(gif, true);
  const int screen = EGifPutScreenDesc(gif, description.width, description.height, 8, 0, map);
  GifFreeMapObject(map);
  if (screen == GIF_ERROR) fail("EGifPutScreenDesc failed");
  if (description.loopCount) {
    const std::uint8_t loop[] = {1, static_cast<std::uint8_t>(*description.loopCount & 0xFF),
                                 static_cast<std::uint8_t>((*description.loopCount >> 8) & 0xFF)};
    if (EGifPutExtensionLeader(gif, APPLICATION_EXT_FUNC_CODE) == GIF_ERROR ||
        EGifPutExtensionBlock(gif, 11, "NETSCAPE2.0") == GIF_ERROR || EGifPutExtensionBlock(gif, 3, loop) == GIF_ERROR ||
        EGifPutExtensionTrailer(gif) == GIF_ERROR) {
      fail("loop extension failed");
    }
  }
  for (const TestGifFrame& frame : description.frames) {
    if (frame.hasControlBlock) {
      GraphicsControlBlock control{frame.disposal, false, frame.delayCentiseconds, frame.transparentIndex};
      GifByteType bytes[4];
      const auto length = EGifGCBToExtension(&control, bytes);
      if (EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(length), bytes) == GIF_ERROR) {
        fail("control block failed");
      }
    }
    if (EGifPutImageDesc(gif, frame.left, frame.top, frame.width, frame.height, frame.interlaced, nullptr) == GIF_ERROR) {
      fail("EGifPutImageDesc failed");
    }
    std::vector<int> rows;
    if (frame.interlaced) {
      for (int pass = 0; pass < 4; ++pass) {
        const int start[] = {0, 4, 2, 1};
        const int step[] = {8, 8, 4, 2};
        for (int y = start[pass]; y < frame.height; y += step[pass]) rows.push_back(y);
      }
    } else {
      for (int y = 0; y < frame.height; ++y) rows.push_back(y);
    }
    std::vector<GifPixelType> line(static_cast<std::size_t>(frame.width));
    for (int y : rows) {
      for (int x = 0; x < frame.width; ++x) {
        line[static_cast<std::size_t>(x)] = frame.indices[static_cast<std::size_t>(y * frame.width + x)];
      }
      if (EGifPutLine(gif, line.data(), frame.width) == GIF_ERROR) fail("EGifPutLine failed");
    }
  }
  if (EGifCloseFile(gif, &error) == GIF_ERROR) throw std::runtime_error("EGifCloseFile failed");
  return out;
}

/// A frame of one colour index.
inline TestGifFrame solidFrame(int left, int top, int width, int height, std::uint8_t index) {
  TestGifFrame frame;
  frame.left = left;
  frame.top = top;
  frame.width = width;
  frame.height = height;
  frame.indices.assign(static_cast<std::size_t>(width * height), index);
  return frame;
}

}  // namespace tav::testing
