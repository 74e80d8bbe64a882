#include "tav/contracts/in_memory_transfer_asset_manager.hpp"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "tav/contracts/uuid.hpp"

namespace tav {
namespace {

std::string fileName(const std::string& name, const std::optional<std::string>& pathExtension) {
  return pathExtension && !pathExtension->empty() ? name + "." + *pathExtension : name;
}

std::runtime_error missingAsset(const TransferAssetReference& reference) {
  return std::runtime_error("no asset named \"" + reference.name + "\" in the in-memory asset store");
}

}  // namespace

InMemoryTransferAssetManager::InMemoryTransferAssetManager() = default;

InMemoryTransferAssetManager::~InMemoryTransferAssetManager() {
  if (!directory_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
}

TransferAssetReference InMemoryTransferAssetManager::makeFromBytes(std::string_view bytes,
                                                                   std::optional<std::string> ownerID,
                                                                   std::optional<std::string> pathExtension) {
  TransferAssetReference reference = TransferAssetReference::newAsset(std::move(ownerID), std::move(pathExtension));
  std::lock_guard lock(mutex_);
  assets_[reference.name] = Asset{std::string(bytes), reference.pathExtension, std::nullopt};
  return reference;
}

TransferAssetReference InMemoryTransferAssetManager::makeForFile(const Url& file, const std::string& ownerID) {
  if (!file.isFileUrl()) throw std::invalid_argument("not a file URL: " + file.absoluteString());
  std::filesystem::path path = file.filePath();
  std::ifstream input(path, std::ios::binary);
  if (!input) throw std::system_error(errno, std::generic_category(), "cannot open " + path.string());
  std::string bytes{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
  if (input.bad()) throw std::system_error(errno, std::generic_category(), "cannot read " + path.string());
  std::string extension = file.pathExtension();
  return makeFromBytes(bytes, ownerID, extension.empty() ? std::nullopt : std::optional(extension));
}

TransferAssetReference InMemoryTransferAssetManager::duplicate(const TransferAssetReference& reference,
                                                               const std::string& newOwnerID) {
  std::lock_guard lock(mutex_);
  const Asset* source = find(reference);
  if (source == nullptr) throw missingAsset(reference);
  TransferAssetReference copy = reference;
  copy.name = Uuid::random().toString();
  copy.ownerID = newOwnerID;
  Asset asset = *source;
  assets_.emplace(copy.name, std::move(asset));
  return copy;
}

std::string InMemoryTransferAssetManager::read(const TransferAssetReference& reference) {
  std::lock_guard lock(mutex_);
  const Asset* asset = find(reference);
  if (asset == nullptr) throw missingAsset(reference);
  return asset->bytes;
}

std::optional<Url> InMemoryTransferAssetManager::locate(const TransferAssetReference& reference) {
  std::lock_guard lock(mutex_);
  const Asset* asset = find(reference);
  if (asset == nullptr) return std::nullopt;
  return materialise(fileName(reference.name, asset->pathExtension), asset->bytes);
}

std::optional<Url> InMemoryTransferAssetManager::thumbnail(const TransferAssetReference& reference) {
  std::lock_guard lock(mutex_);
  const Asset* asset = find(reference);
  if (asset == nullptr || !asset->thumbnail) return std::nullopt;
  return materialise(reference.name + "-thumbnail.png", *asset->thumbnail);
}

std::optional<Url> InMemoryTransferAssetManager::playableFile(const TransferAssetReference& reference) {
  std::lock_guard lock(mutex_);
  const Asset* asset = find(reference);
  if (asset == nullptr) return std::nullopt;
  std::filesystem::path folder = temporaryDirectory() / "playable";
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  return Url::fileUrl(folder / fileName(reference.name, asset->pathExtension));
}

bool InMemoryTransferAssetManager::setThumbnail(const TransferAssetReference& reference, std::string_view pngBytes) {
  std::lock_guard lock(mutex_);
  auto it = assets_.find(reference.name);
  if (it == assets_.end()) return false;
  it->second.thumbnail = std::string(pngBytes);
  // A thumbnail written out before is stale now.
  if (!directory_.empty()) {
    std::error_code ignored;
    std::filesystem::remove(directory_ / (reference.name + "-thumbnail.png"), ignored);
  }
  return true;
}

bool InMemoryTransferAssetManager::contains(const TransferAssetReference& reference) const {
  std::lock_guard lock(mutex_);
  return find(reference) != nullptr;
}

const InMemoryTransferAssetManager::Asset* InMemoryTransferAssetManager::find(
    const TransferAssetReference& reference) const {
  auto it = assets_.find(reference.name);
  return it == assets_.end() ? nullptr : &it->second;
}

std::filesystem::path InMemoryTransferAssetManager::temporaryDirectory() {
  if (directory_.empty()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "tav-assets-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), "cannot create a temporary directory " + pattern);
    }
    directory_ = pattern;
  }
  return directory_;
}

Url InMemoryTransferAssetManager::materialise(const std::string& name, const std::string& bytes) {
  std::filesystem::path file = temporaryDirectory() / name;
  std::error_code error;
  if (!std::filesystem::exists(file, error)) {
    // Written under a temporary name first, so a reader never sees a half-written asset.
    std::filesystem::path partial = file;
    partial += ".partial";
    {
      std::ofstream output(partial, std::ios::binary | std::ios::trunc);
      output.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
      output.close();
      if (!output) throw std::system_error(errno, std::generic_category(), "cannot write " + partial.string());
    }
    std::filesystem::rename(partial, file);
  }
  return Url::fileUrl(file);
}

}  // namespace tav
