// An asset store that keeps every asset in memory: the default store until the host installs its own,
// and the store of tests.
#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/host_transfer_asset_manager.hpp"

namespace tav {

/// Assets live in memory under fresh UUID names. Callers that need a file (locate, thumbnail) get one
/// written on first request into a private temporary directory that the store removes when it is
/// destroyed; the file is rewritten if someone deleted it. playableFile names a path in that directory
/// without creating the file (only its folder), as the directory store does. Thread-safe: one mutex guards the store.
class InMemoryTransferAssetManager final : public HostTransferAssetManager {
 public:
  InMemoryTransferAssetManager();
  ~InMemoryTransferAssetManager() override;
  InMemoryTransferAssetManager(const InMemoryTransferAssetManager&) = delete;
  InMemoryTransferAssetManager& operator=(const InMemoryTransferAssetManager&) = delete;

  TransferAssetReference makeFromBytes(std::string_view bytes, std::optional<std::string> ownerID,
                                       std::optional<std::string> pathExtension) override;
  /// Reads the whole file now; throws std::system_error naming it when it cannot be read, or
  /// std::invalid_argument when `file` is not a file URL.
  TransferAssetReference makeForFile(const Url& file, const std::string& ownerID) override;
  /// Throws std::runtime_error naming the asset when the store has no such asset.
  TransferAssetReference duplicate(const TransferAssetReference& reference, const std::string& newOwnerID) override;
  /// Throws std::runtime_error naming the asset when the store has no such asset.
  std::string read(const TransferAssetReference& reference) override;
  /// Throws std::system_error when the file cannot be written to the temporary directory.
  std::optional<Url> locate(const TransferAssetReference& reference) override;
  std::optional<Url> thumbnail(const TransferAssetReference& reference) override;
  std::optional<Url> playableFile(const TransferAssetReference& reference) override;

  /// Stores PNG bytes as the thumbnail of an existing asset; false when there is no such asset.
  bool setThumbnail(const TransferAssetReference& reference, std::string_view pngBytes);
  /// Whether the store holds the asset.
  bool contains(const TransferAssetReference& reference) const;

 private:
  struct Asset {
    std::string bytes;
    std::optional<std::string> pathExtension;
    std::optional<std::string> thumbnail;
  };

  const Asset* find(const TransferAssetReference& reference) const;
  std::filesystem::path temporaryDirectory();
  Url materialise(const std::string& fileName, const std::string& bytes);

  mutable std::mutex mutex_;
  std::map<std::string, Asset, std::less<>> assets_;  // guarded by mutex_
  std::filesystem::path directory_;                   // guarded by mutex_; empty until first needed
};

}  // namespace tav
