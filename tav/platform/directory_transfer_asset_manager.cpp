#include "tav/platform/directory_transfer_asset_manager.hpp"

#include <stdexcept>
#include <system_error>

#include "tav/contracts/uuid.hpp"
#include "tav/platform/atomic_file.hpp"

namespace tav {
namespace {

/// A name or extension that is one plain file-name part. References come from documents, so a name
/// such as "../x" must never reach outside the store.
bool isPlainPart(std::string_view part) {
  return !part.empty() && part != "." && part != ".." && part.find('/') == std::string_view::npos &&
         part.find('\0') == std::string_view::npos;
}

bool isValid(const TransferAssetReference& reference) {
  return isPlainPart(reference.name) && (!reference.pathExtension || reference.pathExtension->empty() ||
                                         isPlainPart(*reference.pathExtension));
}

std::string fileName(const TransferAssetReference& reference) {
  if (reference.pathExtension && !reference.pathExtension->empty()) {
    return reference.name + "." + *reference.pathExtension;
  }
  return reference.name;
}

void requireValid(const TransferAssetReference& reference) {
  if (!isValid(reference)) {
    throw std::runtime_error("asset reference \"" + reference.name + "\" does not name a file in the asset store");
  }
}

/// Whether a regular file is at `path`; absent-and-fine for a missing file, a throw for anything else
/// (a permission problem on the store must not look like a missing asset).
bool fileExists(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::file_status status = std::filesystem::status(path, error);
  if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory) {
    throw std::filesystem::filesystem_error("cannot look up the asset file", path, error);
  }
  return std::filesystem::is_regular_file(status);
}

}  // namespace

DirectoryTransferAssetManager::DirectoryTransferAssetManager(std::filesystem::path root) : root_(std::move(root)) {}

std::filesystem::path DirectoryTransferAssetManager::assetPath(const TransferAssetReference& reference) const {
  requireValid(reference);
  return root_ / fileName(reference);
}

std::filesystem::path DirectoryTransferAssetManager::thumbnailPath(const TransferAssetReference& reference) const {
  requireValid(reference);
  return root_ / (reference.name + "-thumbnail.png");
}

TransferAssetReference DirectoryTransferAssetManager::store(std::string_view bytes,
                                                            std::optional<std::string> ownerID,
                                                            std::optional<std::string> pathExtension) {
  TransferAssetReference reference = TransferAssetReference::newAsset(std::move(ownerID), std::move(pathExtension));
  std::filesystem::path destination = assetPath(reference);
  std::filesystem::create_directories(root_);
  writeFileAtomically(destination, bytes);
  return reference;
}

TransferAssetReference DirectoryTransferAssetManager::makeFromBytes(std::string_view bytes,
                                                                    std::optional<std::string> ownerID,
                                                                    std::optional<std::string> pathExtension) {
  return store(bytes, std::move(ownerID), std::move(pathExtension));
}

TransferAssetReference DirectoryTransferAssetManager::makeForFile(const Url& file, const std::string& ownerID) {
  if (!file.isFileUrl()) throw std::invalid_argument("not a file URL: " + file.absoluteString());
  TransferAssetReference reference;
  reference.name = Uuid::random().toString();
  reference.ownerID = ownerID;
  std::string extension = file.pathExtension();
  if (!extension.empty()) reference.pathExtension = extension;
  std::filesystem::path destination = assetPath(reference);
  std::filesystem::create_directories(root_);
  copyFileAtomically(file.filePath(), destination);
  return reference;
}

TransferAssetReference DirectoryTransferAssetManager::duplicate(const TransferAssetReference& reference,
                                                                const std::string& newOwnerID) {
  std::filesystem::path source = assetPath(reference);
  TransferAssetReference copy = reference;
  copy.name = Uuid::random().toString();
  copy.ownerID = newOwnerID;
  std::filesystem::path destination = assetPath(copy);
  copyFileAtomically(source, destination);
  std::filesystem::path sourceThumbnail = thumbnailPath(reference);
  if (fileExists(sourceThumbnail)) {
    try {
      copyFileAtomically(sourceThumbnail, thumbnailPath(copy));
    } catch (...) {
      // The caller keeps the old reference on failure, so the half-made copy must not linger.
      std::error_code ignored;
      std::filesystem::remove(destination, ignored);
      throw;
    }
  }
  return copy;
}

std::string DirectoryTransferAssetManager::read(const TransferAssetReference& reference) {
  return readWholeFile(assetPath(reference));
}

std::optional<Url> DirectoryTransferAssetManager::locate(const TransferAssetReference& reference) {
  if (!isValid(reference)) return std::nullopt;
  std::filesystem::path path = assetPath(reference);
  if (!fileExists(path)) return std::nullopt;
  return Url::fileUrl(path);
}

std::optional<Url> DirectoryTransferAssetManager::thumbnail(const TransferAssetReference& reference) {
  if (!isValid(reference)) return std::nullopt;
  std::filesystem::path path = thumbnailPath(reference);
  if (!fileExists(path)) return std::nullopt;
  return Url::fileUrl(path);
}

std::optional<Url> DirectoryTransferAssetManager::playableFile(const TransferAssetReference& reference) {
  if (!isValid(reference)) return std::nullopt;
  // The folder is made here so that a caller can link the asset into place straight away; the file
  // itself is the caller's to make.
  std::filesystem::path folder = root_ / "playable";
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  return Url::fileUrl(folder / fileName(reference));
}

void DirectoryTransferAssetManager::setThumbnail(const TransferAssetReference& reference, std::string_view pngBytes) {
  std::filesystem::path destination = thumbnailPath(reference);
  std::filesystem::create_directories(root_);
  writeFileAtomically(destination, pngBytes);
}

}  // namespace tav
