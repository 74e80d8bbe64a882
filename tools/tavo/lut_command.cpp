#include "lut_command.hpp"

#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "exit_status.hpp"
#include "input.hpp"
#include "tav/contracts/color_lookup_table.hpp"
#include "tav/contracts/image.hpp"
#include "tav/library/filter_render_context.hpp"

namespace tav::tool {
namespace {

struct LutOptions {
  std::string lut;
  std::string image;
  std::string out;
};

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

void apply(const LutOptions& options, int& status) {
  auto lutInput = readInput(options.lut);
  if (!lutInput) {
    status = kNoInput;
    return;
  }
  std::shared_ptr<const ColorFilter> filter;
  try {
    filter = parseColorLookupTable(bytesOf(lutInput->text))->makeFilter();
  } catch (const LookupTableError& error) {
    std::cerr << "tavo: " << lutInput->displayName << ": " << error.what() << '\n';
    status = kDataError;
    return;
  }
  auto imageInput = readInput(options.image);
  if (!imageInput) {
    status = kNoInput;
    return;
  }
  std::optional<Image> image = decodeImage(bytesOf(imageInput->text));
  if (!image) {
    std::cerr << "tavo: " << imageInput->displayName << ": not a picture (PNG, JPEG, WebP, TIFF, BMP or GIF)\n";
    status = kDataError;
    return;
  }
  FilterRenderContext context;
  const Image preview = context.render(*filter, *image);
  try {
    writePNG(preview, options.out);
  } catch (const std::system_error& error) {
    std::cerr << "tavo: " << options.out << ": " << error.what() << '\n';
    status = kCannotCreate;
    return;
  }
  std::cerr << "tavo: wrote " << options.out << " (" << preview.width << "x" << preview.height << ")\n";
  status = kSuccess;
}

}  // namespace

void addLutCommand(CLI::App& app, int& status) {
  auto options = std::make_shared<LutOptions>();
  auto* lut = app.add_subcommand("lut", "Colour look-up tables (.cube)");
  lut->require_subcommand(1);
  auto* applyCommand = lut->add_subcommand("apply", "Apply a .cube table to a picture and write the result as PNG");
  applyCommand->add_option("LUT", options->lut, "The .cube file")->required();
  applyCommand->add_option("IMAGE", options->image, "The picture (PNG, JPEG, WebP, TIFF, BMP or GIF)")->required();
  applyCommand->add_option("--out", options->out, "The PNG file to write")->required();
  applyCommand->callback([options, &status] { apply(*options, status); });
}

}  // namespace tav::tool
