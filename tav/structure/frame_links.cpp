#include "tav/structure/frame_links.hpp"

#include <algorithm>

namespace tav::detail {

FrameLinks::FrameLinks(const std::vector<SceneElement>& elements) {
  if (std::none_of(elements.begin(), elements.end(), [](const SceneElement& e) { return e.frameID().has_value(); })) {
    return;
  }
  const std::size_t n = elements.size();
  ownSlot.assign(n, npos);
  frameSlot.assign(n, npos);
  isFrame.assign(n, false);
  auto number = [&](const Uuid& id) {
    const std::uint32_t slot = ids.insert(id);
    if (slot == firstOfSlot.size()) {  // numbered just now
      firstOfSlot.push_back(npos);
      isFrameSlot.push_back(false);
    }
    return slot;
  };
  auto record = [&](std::size_t i, std::uint32_t own) {
    ownSlot[i] = own;
    firstOfSlot[own] = std::min(firstOfSlot[own], static_cast<std::uint32_t>(i));
    if (isFrame[i]) isFrameSlot[own] = true;
  };
  // A layer in a frame is numbered as it comes, with the id it links to. A layer in no frame matters
  // only when some link names its id, and a later layer may be the one that does: those layers are
  // looked up once more at the end, by id alone. So a document of nested frames is read once, and one
  // with a few frames among many loose layers keeps a table of the few ids that matter.
  for (std::size_t i = 0; i < n; ++i) {
    const SceneElement& element = elements[i];
    isFrame[i] = element.type().isFrame();
    if (!element.frameID()) continue;
    record(i, number(element.id()));
    frameSlot[i] = number(*element.frameID());
  }
  for (std::size_t i = 0; i < n; ++i) {
    if (frameSlot[i] != npos) continue;
    if (const std::uint32_t own = ids.find(elements[i].id()); own != npos) record(i, own);
  }
}

}  // namespace tav::detail
