// FFmpeg handles owned by std::unique_ptr with named deleters, and FFmpeg's error text. Only the
// FFmpeg implementations in tav/platform include this (it brings in FFmpeg's own headers).
#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace tav {

struct FormatContextDeleter {
  /// Closes the file of an output context that is still open, then frees the context.
  void operator()(AVFormatContext* context) const {
    if (context == nullptr) return;
    if (context->oformat != nullptr && !(context->oformat->flags & AVFMT_NOFILE) && context->pb != nullptr) {
      avio_closep(&context->pb);
    }
    avformat_free_context(context);
  }
};
struct InputFormatContextDeleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecContextDeleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct SwsContextDeleter {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
struct SwrContextDeleter {
  void operator()(SwrContext* context) const { swr_free(&context); }
};
struct AudioFifoDeleter {
  void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};
struct DictionaryDeleter {
  void operator()(AVDictionary* dictionary) const { av_dict_free(&dictionary); }
};
struct BufferRefDeleter {
  void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};

using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextDeleter>;
using InputFormatContextPtr = std::unique_ptr<AVFormatContext, InputFormatContextDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using SwsContextPtr = std::unique_ptr<SwsContext, SwsContextDeleter>;
using SwrContextPtr = std::unique_ptr<SwrContext, SwrContextDeleter>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, AudioFifoDeleter>;
using DictionaryPtr = std::unique_ptr<AVDictionary, DictionaryDeleter>;
using BufferRefPtr = std::unique_ptr<AVBufferRef, BufferRefDeleter>;

/// FFmpeg's text for an error code (what av_err2str gives, which C++ cannot use).
inline std::string ffmpegErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

}  // namespace tav
