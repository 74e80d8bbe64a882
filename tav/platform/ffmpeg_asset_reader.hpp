// The FFmpeg implementation of Asset and AssetReader: libavformat demuxes, libavcodec decodes with
// frame threads, libswscale converts pictures to BGRA in one pass (then one rotation pass when the
// track is shown turned), libswresample converts audio to 32-bit float non-interleaved PCM.
#pragma once

#include <filesystem>
#include <memory>

#include "tav/contracts/asset.hpp"

namespace tav {

/// An asset over the file at `path`. The file is opened when a property or reader is first asked for;
/// a file that cannot be opened or holds no media reads as an asset without tracks. A track's
/// preferred transform comes from the stream's display matrix, else from the `rotate` tag older files
/// carry; only whole quarter turns are kept (mirroring and odd angles read as the identity). Times
/// count from the file's first timestamp when that is after zero (transport streams), so every
/// asset starts at zero.
std::shared_ptr<Asset> makeFfmpegAsset(const std::filesystem::path& path);

}  // namespace tav
