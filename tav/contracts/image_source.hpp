// A container of one or more still images read from bytes, asked what kind of file it is and how many
// images it holds. The platform library reads GIF; other formats give no source.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace tav {

/// The content type of a GIF file.
inline constexpr std::string_view kGIFContentType = "com.compuserve.gif";

class ImageSource {
 public:
  virtual ~ImageSource() = default;
  /// The content type of the file, such as kGIFContentType.
  virtual std::string type() const = 0;
  /// The number of images the file holds (frames of an animation).
  virtual std::size_t count() const = 0;
};

/// A source over a copy of `data`, or null when the bytes are no image file the platform reads.
/// Defined by the platform library (tavcommon_platform).
std::unique_ptr<ImageSource> makeImageSource(std::span<const std::uint8_t> data);

}  // namespace tav
