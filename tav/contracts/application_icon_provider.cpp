#include "tav/contracts/application_icon_provider.hpp"

namespace tav {

namespace {

std::shared_ptr<const ApplicationIconProvider>& installedProvider() {
  static std::shared_ptr<const ApplicationIconProvider> provider =
      std::make_shared<PlaceholderApplicationIconProvider>();
  return provider;
}

}  // namespace

const ApplicationIconProvider& ApplicationIconProvider::shared() { return *installedProvider(); }

void ApplicationIconProvider::setShared(std::shared_ptr<const ApplicationIconProvider> provider) {
  if (provider) {
    installedProvider() = std::make_shared<CachingApplicationIconProvider>(std::move(provider));
  } else {
    installedProvider() = std::make_shared<PlaceholderApplicationIconProvider>();
  }
}

SourceIcon CachingApplicationIconProvider::icon(std::string_view bundleIdentifier) const {
  std::string key(bundleIdentifier);
  {
    std::lock_guard lock(mutex_);
    if (auto found = cache_.find(key); found != cache_.end()) return found->second;
  }
  // Two threads may both ask for a new application; the first answer stored is the one kept.
  SourceIcon looked = inner_->icon(bundleIdentifier);
  std::lock_guard lock(mutex_);
  return cache_.try_emplace(std::move(key), std::move(looked)).first->second;
}

SourceIcon PlaceholderApplicationIconProvider::icon(std::string_view) const { return SourceIcon::symbol("app"); }

}  // namespace tav
