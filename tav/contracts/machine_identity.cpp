#include "tav/contracts/machine_identity.hpp"

#include <mutex>

namespace tav {
namespace {

std::mutex installedMutex;
std::shared_ptr<const MachineIdentity> installedIdentity;  // guarded by installedMutex

}  // namespace

std::shared_ptr<const MachineIdentity> MachineIdentity::standard() {
  {
    std::lock_guard lock(installedMutex);
    if (installedIdentity) return installedIdentity;
  }
  return platform();
}

void MachineIdentity::setStandard(std::shared_ptr<const MachineIdentity> identity) {
  std::lock_guard lock(installedMutex);
  installedIdentity = std::move(identity);
}

}  // namespace tav
