// FrameMemory: the pixel memory of decoded frames, allocated through one place so that a player can
// tell how much of it is alive, and the most that was alive at once. Reverse playback holds whole runs
// of decoded frames; this is how their cost is measured rather than guessed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace tav {

/// Process-wide counters; every member is thread-safe.
class FrameMemory {
 public:
  /// `size` bytes of frame memory, counted until the last holder lets go of them.
  static std::shared_ptr<std::uint8_t> allocate(std::size_t size);
  /// Bytes allocated here and still alive.
  static std::size_t current();
  /// The largest `current()` since the last `resetPeak()` (or the start of the process).
  static std::size_t peak();
  /// Makes the peak the present value.
  static void resetPeak();
};

}  // namespace tav
