#include "tav/contracts/library_bundle.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

namespace tav {
namespace {

TEST(LibraryBundle, CurrentIsTheBinaryHoldingTheLibrary) {
  // The tests link the library statically, so the binary holding it is the test executable itself.
  const LibraryBundle& bundle = LibraryBundle::current();
  std::filesystem::path self = std::filesystem::canonical("/proc/self/exe");
  EXPECT_EQ(bundle.executablePath(), self);
  EXPECT_EQ(bundle.bundlePath(), self.parent_path());
  EXPECT_EQ(bundle.resourcePath(), self.parent_path().parent_path() / "share" / "tavcommon");
  EXPECT_EQ(&LibraryBundle::current(), &bundle);
}

}  // namespace
}  // namespace tav
