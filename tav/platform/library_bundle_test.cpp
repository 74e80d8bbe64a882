#include "tav/contracts/library_bundle.hpp"

#include <unistd.h>

#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace tav {
namespace {

/// The file the library's code was loaded from, as the process's memory map names it: the shared
/// library when the tests link it so, else the test executable itself.
std::filesystem::path binaryHoldingTheLibrary() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    const auto at = line.find('/');
    if (at != std::string::npos && line.find("/libtavcommon.so", at) != std::string::npos) {
      return std::filesystem::canonical(line.substr(at));
    }
  }
  return std::filesystem::canonical("/proc/self/exe");
}

TEST(LibraryBundle, CurrentIsTheBinaryHoldingTheLibrary) {
  const LibraryBundle& bundle = LibraryBundle::current();
  const std::filesystem::path self = binaryHoldingTheLibrary();
  EXPECT_EQ(std::tuple(bundle.executablePath(), bundle.bundlePath()), std::tuple(self, self.parent_path()));
  EXPECT_EQ(bundle.resourcePath(), self.parent_path().parent_path() / "share" / "tavcommon");
  EXPECT_EQ(&LibraryBundle::current(), &bundle);
}

}  // namespace
}  // namespace tav
