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
  installedProvider() = provider ? std::move(provider) : std::make_shared<PlaceholderApplicationIconProvider>();
}

SourceIcon PlaceholderApplicationIconProvider::icon(std::string_view) const { return SourceIcon::symbol("app"); }

}  // namespace tav
