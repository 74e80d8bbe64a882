// Whether this machine can encode HEVC in hardware: an FFmpeg hardware HEVC encoder must exist and its
// device must open. Asked once; the answer does not change while the process runs.
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
}

#include "tav/contracts/asset_writer.hpp"
#include "tav/platform/ffmpeg_handles.hpp"

namespace tav {
namespace {

bool deviceOpens(AVHWDeviceType type) {
  AVBufferRef* raw = nullptr;
  const int result = av_hwdevice_ctx_create(&raw, type, nullptr, nullptr, 0);
  BufferRefPtr device(raw);
  return result >= 0 && device != nullptr;
}

// Encoders that take system-memory frames (NVENC, V4L2 memory-to-memory) prove themselves by opening.
bool encoderOpens(const AVCodec* encoder) {
  CodecContextPtr context(avcodec_alloc_context3(encoder));
  if (!context) return false;
  context->width = 256;
  context->height = 256;
  context->time_base = AVRational{1, 30};
  context->pix_fmt = encoder->pix_fmts != nullptr ? encoder->pix_fmts[0] : AV_PIX_FMT_YUV420P;
  return avcodec_open2(context.get(), encoder, nullptr) >= 0;
}

bool probeHardwareHEVC() {
  struct Candidate {
    const char* encoder;
    AVHWDeviceType device;  // AV_HWDEVICE_TYPE_NONE: open the encoder itself
  };
  const Candidate candidates[] = {
      {"hevc_vaapi", AV_HWDEVICE_TYPE_VAAPI},
      {"hevc_qsv", AV_HWDEVICE_TYPE_QSV},
      {"hevc_nvenc", AV_HWDEVICE_TYPE_NONE},
      {"hevc_v4l2m2m", AV_HWDEVICE_TYPE_NONE},
  };
  for (const auto& candidate : candidates) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(candidate.encoder);
    if (encoder == nullptr) continue;
    const bool opens =
        candidate.device == AV_HWDEVICE_TYPE_NONE ? encoderOpens(encoder) : deviceOpens(candidate.device);
    if (opens) return true;
  }
  return false;
}

}  // namespace

bool supportsHardwareHEVCEncoding() {
  static const bool supported = [] {
    const int level = av_log_get_level();
    av_log_set_level(AV_LOG_QUIET);  // a missing device is the normal answer, not an error to print
    const bool result = probeHardwareHEVC();
    av_log_set_level(level);
    return result;
  }();
  return supported;
}

}  // namespace tav
