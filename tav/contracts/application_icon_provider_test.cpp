#include "tav/contracts/application_icon_provider.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace tav {
namespace {

/// Knows every application and counts how often it is asked.
class CountingIconProvider : public ApplicationIconProvider {
 public:
  SourceIcon icon(std::string_view bundleIdentifier) const override {
    ++lookups;
    return SourceIcon::applicationIcon(std::string(bundleIdentifier));
  }
  mutable std::atomic<int> lookups{0};
};

TEST(ApplicationIconProvider, InstalledProviderIsAskedOncePerApplication) {
  auto counting = std::make_shared<CountingIconProvider>();
  ApplicationIconProvider::setShared(counting);
  const ApplicationIconProvider& shared = ApplicationIconProvider::shared();
  EXPECT_EQ(shared.icon("com.example.a"), SourceIcon::applicationIcon("com.example.a"));
  EXPECT_EQ(shared.icon("com.example.a"), SourceIcon::applicationIcon("com.example.a"));
  EXPECT_EQ(shared.icon("com.example.b"), SourceIcon::applicationIcon("com.example.b"));
  EXPECT_EQ(counting->lookups.load(), 2);

  ApplicationIconProvider::setShared(nullptr);
  EXPECT_EQ(ApplicationIconProvider::shared().icon("com.example.a"), SourceIcon::symbol("app"));
}

TEST(ApplicationIconProvider, CacheServesManyThreads) {
  auto counting = std::make_shared<CountingIconProvider>();
  CachingApplicationIconProvider cache(counting);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&cache] {
      for (int i = 0; i < 200; ++i) {
        std::string id = "com.example.app" + std::to_string(i % 10);
        EXPECT_EQ(cache.icon(id), SourceIcon::applicationIcon(id));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  // Each of the ten applications is looked up at least once, and at most once per racing thread.
  EXPECT_GE(counting->lookups.load(), 10);
  EXPECT_LE(counting->lookups.load(), 40);
}

}  // namespace
}  // namespace tav
