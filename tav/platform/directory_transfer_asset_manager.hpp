// The asset store of a desktop host: every asset is one file in a directory.
//
// Layout under the root:
//   <name>.<extension>            the asset (just <name> when it has no extension); <name> is a UUID
//   <name>-thumbnail.png          its thumbnail, when one was stored
//   playable/<name>.<extension>   where a media reader expects the asset (made by the caller, often
//                                 as a hard link to the asset)
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/host_transfer_asset_manager.hpp"

namespace tav {

/// Thread-safe without a lock of its own: every asset is written under a fresh name and published by
/// an atomic rename, so concurrent readers see a whole file or none. Errors are std::system_error
/// naming the file, or std::runtime_error for a reference that cannot name a file in this store.
class DirectoryTransferAssetManager final : public HostTransferAssetManager {
 public:
  /// Stores assets under `root`, which is created when the first asset is written.
  explicit DirectoryTransferAssetManager(std::filesystem::path root);

  const std::filesystem::path& root() const { return root_; }

  TransferAssetReference makeFromBytes(std::string_view bytes, std::optional<std::string> ownerID,
                                       std::optional<std::string> pathExtension) override;
  /// Copies the file into the store. Throws std::invalid_argument for a URL that is not a file URL.
  TransferAssetReference makeForFile(const Url& file, const std::string& ownerID) override;
  /// Copies the asset (and its thumbnail, when it has one) to a new name.
  TransferAssetReference duplicate(const TransferAssetReference& reference, const std::string& newOwnerID) override;
  std::string read(const TransferAssetReference& reference) override;
  /// Absent when no file of that name exists; throws when the store cannot be looked into.
  std::optional<Url> locate(const TransferAssetReference& reference) override;
  /// Present only when a thumbnail file exists for the asset.
  std::optional<Url> thumbnail(const TransferAssetReference& reference) override;
  /// The path under "playable/" whether or not a file is there yet (the folder is made, so the caller
  /// can link the asset there); absent for a reference that cannot name a file in this store.
  std::optional<Url> playableFile(const TransferAssetReference& reference) override;

  /// Stores PNG bytes as the thumbnail of `reference`, replacing any before.
  void setThumbnail(const TransferAssetReference& reference, std::string_view pngBytes);

  /// Where the asset of `reference` is (or would be) stored. Throws std::runtime_error for a name
  /// that is empty or would leave the root ("..", "a/b").
  std::filesystem::path assetPath(const TransferAssetReference& reference) const;
  std::filesystem::path thumbnailPath(const TransferAssetReference& reference) const;

 private:
  TransferAssetReference store(std::string_view bytes, std::optional<std::string> ownerID,
                               std::optional<std::string> pathExtension);

  std::filesystem::path root_;
};

}  // namespace tav
