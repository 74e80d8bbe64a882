// The container side of the FFmpeg writer: one output file that every input's encoding thread hands
// its packets to. It holds packets back until every encoder has opened (the header needs them all),
// interleaves the streams under one lock, and keeps the writer's status and first error.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "tav/contracts/asset_writer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/platform/ffmpeg_handles.hpp"

namespace tav::detail {

/// The log of the FFmpeg writer, its inputs and its muxer.
inline const Logger& ffmpegWriterLogger() {
  static const Logger instance("FfmpegAssetWriter");
  return instance;
}

// What an input's encoding thread shares with the writer: the container, its lock, the session start
// and the writer's status. Owned jointly by the writer and its inputs so that either may go first.
class Muxer {
 public:
  Muxer(std::filesystem::path path, FormatContextPtr format) : _path(std::move(path)), _format(std::move(format)) {}

  const std::filesystem::path& path() const { return _path; }
  AVFormatContext* format() const { return _format.get(); }

  AssetWriterStatus status() const { return _status.load(); }
  void setStatus(AssetWriterStatus status) { _status.store(status); }
  void complete() {
    auto expected = AssetWriterStatus::writing;
    _status.compare_exchange_strong(expected, AssetWriterStatus::completed);
  }
  bool isCancelled() const { return _cancelled.load(); }
  void setCancelled() { _cancelled.store(true); }
  bool isFinishing() const { return _finishing.load(); }
  void setFinishing() { _finishing.store(true); }

  std::optional<std::string> error() const {
    std::lock_guard lock(_errorMutex);
    return _error;
  }
  /// Records the first failure and moves a writing (or not yet started) writer to failed.
  void fail(const std::string& what, int code = 0) {
    std::string text = _path.string() + ": " + what;
    if (code != 0) text += ": " + ffmpegErrorText(code);
    {
      std::lock_guard lock(_errorMutex);
      if (!_error) _error = text;
    }
    auto expected = AssetWriterStatus::writing;
    if (!_status.compare_exchange_strong(expected, AssetWriterStatus::failed)) {
      expected = AssetWriterStatus::unknown;
      _status.compare_exchange_strong(expected, AssetWriterStatus::failed);
    }
    ffmpegWriterLogger().error("{}", text);
  }

  void setSessionStart(CMTime time) {
    std::lock_guard lock(_sessionMutex);
    _sessionStart = time;
    _hasSession.store(true, std::memory_order_release);
  }
  bool hasSession() const { return _hasSession.load(std::memory_order_acquire); }
  std::optional<CMTime> sessionStart() const {
    std::lock_guard lock(_sessionMutex);
    return _sessionStart;
  }

  void setHeaderOptions(std::string movflags, std::int64_t fragmentMicroseconds) {
    _movflags = std::move(movflags);
    _fragmentMicroseconds = fragmentMicroseconds;
  }
  bool isFragmented() const { return _fragmentMicroseconds > 0; }
  void expectEncoders(int count) {
    std::lock_guard lock(_mutex);
    _encodersAwaited = count;
  }

  /// Called once per stream when its encoder is open: copies the codec parameters and, when it was the
  /// last one awaited, writes the header and whatever packets were held back for it.
  bool encoderOpened(AVStream* stream, const AVCodecContext* codec) {
    std::lock_guard lock(_mutex);
    const int result = avcodec_parameters_from_context(stream->codecpar, codec);
    if (result < 0) {
      fail("could not describe the stream", result);
      return false;
    }
    if (codec->codec_id == AV_CODEC_ID_HEVC) stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    if (--_encodersAwaited > 0) return true;
    return writeHeaderLocked();
  }

  /// Hands one encoded packet (timed in `timeBase`) to the container, interleaving it with the other
  /// streams. Before the header exists the packet waits.
  bool write(AVPacket* packet, AVRational timeBase, AVStream* stream) {
    std::lock_guard lock(_mutex);
    if (_cancelled.load() || _headerFailed) return false;
    packet->stream_index = stream->index;
    if (!_headerWritten) {
      PacketPtr held(av_packet_clone(packet));
      if (!held) return false;
      _held.push_back(Held{std::move(held), timeBase, stream});
      av_packet_unref(packet);
      return true;
    }
    return writeLocked(packet, timeBase, stream);
  }

  /// After every encoder is drained: the end of the file. False (and failed) on error.
  bool writeTrailer() {
    std::lock_guard lock(_mutex);
    if (!_headerWritten) {
      fail("no stream could be started");
      return false;
    }
    const int result = av_write_trailer(_format.get());
    if (result < 0) {
      fail("could not finish the file", result);
      return false;
    }
    return closeLocked();
  }

  bool open() {
    std::lock_guard lock(_mutex);
    const int result = avio_open(&_format->pb, _path.c_str(), AVIO_FLAG_WRITE);
    if (result < 0) {
      fail("could not create the file", result);
      return false;
    }
    return true;
  }

  /// Closes the file as it stands (after a cancel or a failure).
  bool closeLocked() {
    if (_format->pb != nullptr) {
      const int result = avio_closep(&_format->pb);
      if (result < 0) {
        fail("could not close the file", result);
        return false;
      }
    }
    return true;
  }
  void close() {
    std::lock_guard lock(_mutex);
    closeLocked();
  }

 private:
  struct Held {
    PacketPtr packet;
    AVRational timeBase;
    AVStream* stream;
  };

  bool writeHeaderLocked() {
    AVDictionary* rawOptions = nullptr;
    if (!_movflags.empty()) av_dict_set(&rawOptions, "movflags", _movflags.c_str(), 0);
    if (_fragmentMicroseconds > 0) {
      av_dict_set_int(&rawOptions, "frag_duration", _fragmentMicroseconds, 0);
      // Without this the fragments sit in the I/O buffer and a killed process loses the last ones.
      av_dict_set(&rawOptions, "flush_packets", "1", 0);
    }
    DictionaryPtr options(rawOptions);
    rawOptions = options.release();
    const int result = avformat_write_header(_format.get(), &rawOptions);
    options.reset(rawOptions);
    if (result < 0) {
      _headerFailed = true;
      fail("could not write the file header", result);
      return false;
    }
    _headerWritten = true;
    for (auto& held : _held) {
      if (!writeLocked(held.packet.get(), held.timeBase, held.stream)) return false;
    }
    _held.clear();
    return true;
  }

  bool writeLocked(AVPacket* packet, AVRational timeBase, AVStream* stream) {
    av_packet_rescale_ts(packet, timeBase, stream->time_base);
    const int result = av_interleaved_write_frame(_format.get(), packet);
    if (result < 0) {
      fail("could not write a packet", result);
      return false;
    }
    return true;
  }

  const std::filesystem::path _path;
  std::atomic<AssetWriterStatus> _status{AssetWriterStatus::unknown};
  std::atomic<bool> _cancelled{false};
  std::atomic<bool> _finishing{false};

  mutable std::mutex _errorMutex;
  std::optional<std::string> _error;  // guarded by _errorMutex

  mutable std::mutex _sessionMutex;
  std::optional<CMTime> _sessionStart;  // guarded by _sessionMutex
  std::atomic<bool> _hasSession{false};

  std::mutex _mutex;  // guards everything below and every write into the container
  FormatContextPtr _format;
  std::string _movflags;
  std::int64_t _fragmentMicroseconds = 0;
  int _encodersAwaited = 0;
  bool _headerWritten = false;
  bool _headerFailed = false;
  std::vector<Held> _held;
};

}  // namespace tav::detail
