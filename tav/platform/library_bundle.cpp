// LibraryBundle::current through dladdr: the loader knows which mapped file holds a given address.
#include "tav/contracts/library_bundle.hpp"

#include <dlfcn.h>

#include <system_error>

namespace tav {
namespace {

/// The marker: its address lies in whatever binary holds this library.
[[gnu::noinline]] void bundleMarker() {}

std::filesystem::path pathOfMarker() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&bundleMarker), &info) == 0 || !info.dli_fname || !*info.dli_fname) {
    return {};
  }
  std::error_code error;
  std::filesystem::path path = std::filesystem::canonical(info.dli_fname, error);
  if (error) path = std::filesystem::absolute(info.dli_fname, error);
  return error ? std::filesystem::path() : path;
}

}  // namespace

const LibraryBundle& LibraryBundle::current() {
  static const LibraryBundle bundle(pathOfMarker());
  return bundle;
}

}  // namespace tav
