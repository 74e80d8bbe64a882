// parseColorLookupTable with OpenColorIO: the colour library reads the ".cube" file and builds the
// processor that applies it. OpenColorIO 2.1 reads tables from files only, so the bytes are written to
// a private temporary file for the moment of reading; its file cache is cleared again afterwards so
// that a gallery of tables does not keep a copy of each.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include <OpenColorIO/OpenColorIO.h>

#include "tav/contracts/color_lookup_table.hpp"
#include "tav/platform/cube_file_check.hpp"

namespace OCIO = OCIO_NAMESPACE;

namespace tav {
namespace {

/// A temporary file that is removed with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string_view contents) {
    std::string pattern = (std::filesystem::temp_directory_path() / "tavo-lut-XXXXXX.cube").string();
    const int fd = ::mkstemps(pattern.data(), 5);
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "cannot make a temporary file for a LUT");
    path_ = pattern;
    std::size_t written = 0;
    while (written < contents.size()) {
      const ssize_t n = ::write(fd, contents.data() + written, contents.size() - written);
      if (n <= 0) {
        const int error = errno;
        ::close(fd);
        throw std::system_error(error, std::generic_category(), "cannot write " + path_.string());
      }
      written += static_cast<std::size_t>(n);
    }
    ::close(fd);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

class OcioColorFilter final : public ColorFilter {
 public:
  explicit OcioColorFilter(OCIO::ConstCPUProcessorRcPtr processor) : processor_(std::move(processor)) {}

  void apply(const Image& input, Image& output, int firstRow, int rowCount) const override {
    if (input.isEmpty() || rowCount <= 0) return;
    const auto stride = static_cast<std::ptrdiff_t>(input.stride());
    // OpenColorIO takes a non-const pointer for its source too; it only reads from it.
    OCIO::PackedImageDesc source(const_cast<std::uint8_t*>(input.pixel(0, firstRow)), input.width, rowCount,
                                 OCIO::CHANNEL_ORDERING_RGBA, OCIO::BIT_DEPTH_UINT8, 1, 4, stride);
    OCIO::PackedImageDesc destination(output.pixel(0, firstRow), output.width, rowCount, OCIO::CHANNEL_ORDERING_RGBA,
                                      OCIO::BIT_DEPTH_UINT8, 1, 4, stride);
    processor_->apply(source, destination);
  }

 private:
  OCIO::ConstCPUProcessorRcPtr processor_;
};

class OcioColorLookupTable final : public ColorLookupTable {
 public:
  OcioColorLookupTable(OCIO::ConstProcessorRcPtr processor, CubeFileShape shape)
      : processor_(std::move(processor)), shape_(shape) {}

  int size3D() const override { return shape_.size3D; }
  int size1D() const override { return shape_.size1D; }

  std::shared_ptr<const ColorFilter> makeFilter() const override {
    try {
      return std::make_shared<OcioColorFilter>(processor_->getOptimizedCPUProcessor(
          OCIO::BIT_DEPTH_UINT8, OCIO::BIT_DEPTH_UINT8, OCIO::OPTIMIZATION_DEFAULT));
    } catch (const OCIO::Exception& error) {
      throw LookupTableError(std::string("cannot make a filter of the table: ") + error.what());
    }
  }

 private:
  OCIO::ConstProcessorRcPtr processor_;
  CubeFileShape shape_;
};

}  // namespace

std::shared_ptr<const ColorLookupTable> parseColorLookupTable(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const CubeFileShape shape = checkCubeFile(text);
  try {
    TemporaryFile file(text);
    auto transform = OCIO::FileTransform::Create();
    transform->setSrc(file.path().c_str());
    // Tetrahedral for a 3D table alone; a file with a 1D table as well takes the best each supports.
    transform->setInterpolation(shape.size1D == 0 ? OCIO::INTERP_TETRAHEDRAL : OCIO::INTERP_BEST);
    transform->setDirection(OCIO::TRANSFORM_DIR_FORWARD);
    auto processor = OCIO::Config::CreateRaw()->getProcessor(transform);
    OCIO::ClearAllCaches();
    return std::make_shared<OcioColorLookupTable>(std::move(processor), shape);
  } catch (const OCIO::Exception& error) {
    OCIO::ClearAllCaches();
    throw LookupTableError(std::string("not a table OpenColorIO reads: ") + error.what());
  }
}

}  // namespace tav
