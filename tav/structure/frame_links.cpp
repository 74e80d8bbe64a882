#include "tav/structure/frame_links.hpp"

#include <algorithm>

namespace tav::detail {

FrameLinks::FrameLinks(const std::vector<SceneElement>& elements) {
  if (std::none_of(elements.begin(), elements.end(), [](const SceneElement& e) { return e.frameID().has_value(); })) {
    return;
  }
  const std::size_t n = elements.size();
  ids = UuidSlots(n);
  firstOfSlot.reserve(n);
  isFrameSlot.reserve(n);
  auto slotOf = [&](const Uuid& id) {
    const std::uint32_t slot = ids.insert(id);
    if (slot == firstOfSlot.size()) {  // numbered just now
      firstOfSlot.push_back(npos);
      isFrameSlot.push_back(false);
    }
    return slot;
  };
  ownSlot.resize(n);
  frameSlot.assign(n, npos);
  isFrame.assign(n, false);
  for (std::size_t i = 0; i < n; ++i) {
    const SceneElement& element = elements[i];
    const std::uint32_t own = slotOf(element.id());
    ownSlot[i] = own;
    if (firstOfSlot[own] == npos) firstOfSlot[own] = static_cast<std::uint32_t>(i);
    if (element.type().isFrame()) {
      isFrame[i] = true;
      isFrameSlot[own] = true;
    }
    if (element.frameID()) frameSlot[i] = slotOf(*element.frameID());
  }
}

}  // namespace tav::detail
