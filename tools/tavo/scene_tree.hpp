// The layer hierarchy of a scene format as indented text, for people.
#pragma once

#include <ostream>

#include "tav/scene/scene.hpp"

namespace tav::tool {

/// Writes the routed format of `scene`, front to back: folders as nested headings, then one line a
/// layer with its index, title and id prefix, and notes for split bookends, frame membership, frame
/// layout and mask links.
void printSceneTree(const Scene& scene, std::ostream& out);

}  // namespace tav::tool
