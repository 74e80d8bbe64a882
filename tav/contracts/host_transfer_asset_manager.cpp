#include "tav/contracts/host_transfer_asset_manager.hpp"

#include <mutex>

#include "tav/contracts/in_memory_transfer_asset_manager.hpp"

namespace tav {
namespace {

std::mutex installedMutex;
std::shared_ptr<HostTransferAssetManager> installed;  // guarded by installedMutex

}  // namespace

HostTransferAssetManager& HostTransferAssetManager::shared() {
  {
    std::lock_guard lock(installedMutex);
    if (installed) return *installed;
  }
  // Made on first use and never destroyed before exit, so references handed out stay valid.
  static InMemoryTransferAssetManager fallback;
  return fallback;
}

void HostTransferAssetManager::setShared(std::shared_ptr<HostTransferAssetManager> manager) {
  std::shared_ptr<HostTransferAssetManager> previous;
  {
    std::lock_guard lock(installedMutex);
    previous = std::exchange(installed, std::move(manager));
  }
}

}  // namespace tav
