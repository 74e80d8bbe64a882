// Icons of applications, as capture layers and audio sources show them.
//
// The host knows where applications live and how to get their icons; the library only picks which
// icon a source shows. Until the host installs a provider, every application shows the symbol "app".
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
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

  /// The provider installed by the host, behind the process-wide cache, else a
  /// PlaceholderApplicationIconProvider.
  static const ApplicationIconProvider& shared();
  /// Installs the provider that `shared()` returns from now on, wrapped in a
  /// CachingApplicationIconProvider so each application is looked up once; null restores the
  /// placeholder. Not to be called while other threads use `shared()`.
  static void setShared(std::shared_ptr<const ApplicationIconProvider> provider);
};

/// Knows no applications: every icon is the symbol "app".
class PlaceholderApplicationIconProvider : public ApplicationIconProvider {
 public:
  SourceIcon icon(std::string_view bundleIdentifier) const override;
};

/// Asks `inner` once per bundle identifier and keeps the answer for its own lifetime. Thread-safe;
/// `inner` may be called from any thread, never with the cache's lock held.
class CachingApplicationIconProvider : public ApplicationIconProvider {
 public:
  explicit CachingApplicationIconProvider(std::shared_ptr<const ApplicationIconProvider> inner)
      : inner_(std::move(inner)) {}
  SourceIcon icon(std::string_view bundleIdentifier) const override;

 private:
  std::shared_ptr<const ApplicationIconProvider> inner_;
  mutable std::mutex mutex_;
  mutable std::unordered_map<std::string, SourceIcon> cache_;  // guarded by mutex_
};

}  // namespace tav
