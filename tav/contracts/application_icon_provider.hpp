// Icons of applications, as capture layers and audio sources show them.
//
// The host knows where applications live and how to get their icons; the library only picks which
// icon a source shows. Until the host installs a provider, every application shows the symbol "app".
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace tav {

/// An image that stands for a source: a named symbol of the host's icon set ("tv", "mic"), or an
/// application's icon, named by the application's bundle identifier.
struct SourceIcon {
  enum class Kind { symbol, applicationIcon };

  Kind kind = Kind::symbol;
  /// The symbol's name, or the application's bundle identifier.
  std::string name;

  static SourceIcon symbol(std::string name) { return SourceIcon{Kind::symbol, std::move(name)}; }
  static SourceIcon applicationIcon(std::string bundleIdentifier) {
    return SourceIcon{Kind::applicationIcon, std::move(bundleIdentifier)};
  }

  friend bool operator==(const SourceIcon&, const SourceIcon&) = default;
};

/// Thread-safe: `icon` may be called from any thread. Implementations cache icons by bundle
/// identifier for the life of the process.
class ApplicationIconProvider {
 public:
  virtual ~ApplicationIconProvider() = default;

  /// The icon of the application with `bundleIdentifier`; the symbol "app" when there is no such
  /// application.
  virtual SourceIcon icon(std::string_view bundleIdentifier) const = 0;

  /// The provider installed by the host, else a PlaceholderApplicationIconProvider.
  static const ApplicationIconProvider& shared();
  /// Installs the provider that `shared()` returns from now on; null restores the placeholder. Not to
  /// be called while other threads use `shared()`.
  static void setShared(std::shared_ptr<const ApplicationIconProvider> provider);
};

/// Knows no applications: every icon is the symbol "app".
class PlaceholderApplicationIconProvider : public ApplicationIconProvider {
 public:
  SourceIcon icon(std::string_view bundleIdentifier) const override;
};

}  // namespace tav
