// What the "tavo obs" commands share: reading a collection, choosing its canvas, and reading the size
// of the pictures and movies its sources name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/json_writer.hpp"
#include "tav/obs/obs_collection.hpp"
#include "tav/obs/obs_item_placement.hpp"

namespace tav::tool {

/// The canvas the items are placed on, and where it came from: "--canvas", "profile", "collection" or
/// "fallback" (1920 by 1080).
struct CanvasChoice {
  Size size;
  std::string_view origin;
};

/// The collection at `file` (standard input for "-"); absent after a message, with `status` set.
std::optional<OBSCollection> loadCollection(const std::string& file, int& status);

/// The canvas from `canvasText` (WIDTHxHEIGHT), else the basic.ini of `profileDir`, else the
/// collection's "resolution", else 1920 by 1080. A profile that cannot be read is a warning and the
/// next choice is taken. Absent after a message, with `status` set, only for a bad `canvasText`.
std::optional<CanvasChoice> chooseCanvas(const std::string& canvasText, const std::string& profileDir,
                                         const OBSCollection& collection, int& status);

/// {"width": w, "height": h, "origin": origin}.
void writeCanvas(JsonWriter& w, const CanvasChoice& canvas);

/// The text, or null.
void writeOptionalText(JsonWriter& w, const std::optional<std::string>& text);

/// Reads the displayed size of a picture or movie with FFmpeg, once per path.
OBSMediaSizeReader mediaSizeReader();

}  // namespace tav::tool
