// ZipArchiver over libzip.
#pragma once

#include "tav/contracts/zip_archiver.hpp"

namespace tav {

/// Stateless; every call opens its own archive handle, so calls may run on any thread at once.
class LibzipArchiver final : public ZipArchiver {
 public:
  void pack(const std::filesystem::path& folder, const std::filesystem::path& archive) const override;
  void unpack(const std::filesystem::path& archive, const std::filesystem::path& folder,
              const UnzipLimits& limits = {}) const override;
};

}  // namespace tav
