// The store of the assets that scene documents refer to (images, videos, fonts, thumbnails).
//
// The host installs its store once at start (tavcommon_platform has a directory-backed one); until
// then `shared()` is an in-memory store, so the logic never meets a missing manager.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/transfer_asset_reference.hpp"
#include "tav/contracts/url.hpp"

namespace tav {

/// Thread-safe: every member may be called from any thread. Operations that make or read an asset
/// throw (std::system_error or std::runtime_error with the file and the reason) when the store fails.
class HostTransferAssetManager {
 public:
  /// What a stored asset holds. The first two cases are the ones a camera background can use.
  enum class MediaType { image, video, animatedImage, audio, unknown };

  virtual ~HostTransferAssetManager() = default;

  /// The store installed by the host, else a process-wide in-memory one.
  static HostTransferAssetManager& shared();
  /// Installs the store that `shared()` returns from now on. Not to be called while other threads
  /// use `shared()`.
  static void setShared(std::shared_ptr<HostTransferAssetManager> manager);

  /// Stores `bytes` as a new asset and returns its reference.
  virtual TransferAssetReference makeFromBytes(std::string_view bytes, std::optional<std::string> ownerID,
                                               std::optional<std::string> pathExtension) = 0;
  /// Stores a copy of the file at `file` for `ownerID`.
  virtual TransferAssetReference makeForFile(const Url& file, const std::string& ownerID) = 0;
  /// A reference to a copy of the asset for a new owner. Throws when the asset cannot be copied; the
  /// caller then keeps the old reference.
  virtual TransferAssetReference duplicate(const TransferAssetReference& reference, const std::string& newOwnerID) = 0;
  /// The asset's bytes.
  virtual std::string read(const TransferAssetReference& reference) = 0;
  /// The file URL of the asset; absent when the store has no such asset.
  virtual std::optional<Url> locate(const TransferAssetReference& reference) = 0;
  /// The file URL of the asset's thumbnail; absent when it has none.
  virtual std::optional<Url> thumbnail(const TransferAssetReference& reference) = 0;
  /// A URL that a media reader can open: the asset's file under a name with its proper extension.
  /// The file at that URL may not exist yet (see prepareVideoFile of video layers).
  virtual std::optional<Url> playableFile(const TransferAssetReference& reference) = 0;
};

using MediaType = HostTransferAssetManager::MediaType;

template <>
struct EnumTraits<HostTransferAssetManager::MediaType> {
  using M = HostTransferAssetManager::MediaType;
  static constexpr std::array cases{EnumCase<M>{M::image, "image"}, EnumCase<M>{M::video, "video"},
                                    EnumCase<M>{M::animatedImage, "animatedImage"}, EnumCase<M>{M::audio, "audio"},
                                    EnumCase<M>{M::unknown, "unknown"}};
  static constexpr M unknownCase = M::unknown;
};

}  // namespace tav
