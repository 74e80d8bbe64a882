// Generated scene documents for benchmarks: realistic mixes of layer kinds with folders nested four
// deep, split-video groups, frames, masks and unknown keys, deterministic for a given shape.
#pragma once

#include <cstddef>
#include <string>

namespace tav::bench {

struct GeneratedSceneShape {
  std::size_t formats = 3;             // landscape, portrait, square, ... (at most 5)
  std::size_t layersPerFormat = 1000;
  std::size_t folderDepth = 4;         // folders nested this deep
  unsigned seed = 1;
};

/// A scene document as JSON text. Every format holds `layersPerFormat` layers: one in five in a folder
/// chain (every other layer of a run of nine), one in twenty masked by its neighbour, a split-video pair and a frame with members
/// every fifty layers, unknown keys on some layers and at the top level.
std::string generateSceneDocument(const GeneratedSceneShape& shape);

}  // namespace tav::bench
