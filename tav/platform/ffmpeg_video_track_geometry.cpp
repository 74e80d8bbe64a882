// The displayed size of a movie's first video track, for the scene factories, asked of the same FFmpeg
// asset reader that plays the file: one reader decides what a file's tracks and turns are, so a layer is
// sized the way the file will later show.
#include "tav/contracts/video_track_geometry.hpp"

#include <exception>
#include <memory>
#include <vector>

#include "tav/contracts/asset.hpp"
#include "tav/contracts/url.hpp"

namespace tav {

std::optional<VideoTrackGeometry> readVideoTrackGeometry(const std::filesystem::path& file) {
  try {
    const std::shared_ptr<Asset> asset = assetWithURL(Url::fileUrl(file));
    if (!asset) return std::nullopt;
    const std::vector<AssetTrack> tracks = asset->tracksWithMediaType(MediaStreamType::video());
    if (tracks.empty()) return std::nullopt;
    const AffineTransform& turn = tracks.front().preferredTransform;
    return VideoTrackGeometry{tracks.front().naturalSize,
                              VideoTrackTransform{turn.a, turn.b, turn.c, turn.d, turn.tx, turn.ty}};
  } catch (const std::exception&) {
    return std::nullopt;  // a file that cannot be read has no geometry to give
  }
}

}  // namespace tav
