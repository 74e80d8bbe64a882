#include "tav/contracts/frame_memory.hpp"

#include <atomic>

namespace tav {
namespace {

std::atomic<std::size_t> liveBytes{0};
std::atomic<std::size_t> peakBytes{0};

struct CountedDelete {
  std::size_t size;
  void operator()(std::uint8_t* bytes) const {
    delete[] bytes;
    liveBytes.fetch_sub(size, std::memory_order_relaxed);
  }
};

}  // namespace

std::shared_ptr<std::uint8_t> FrameMemory::allocate(std::size_t size) {
  std::shared_ptr<std::uint8_t> bytes(new std::uint8_t[size], CountedDelete{size});
  const std::size_t now = liveBytes.fetch_add(size, std::memory_order_relaxed) + size;
  std::size_t seen = peakBytes.load(std::memory_order_relaxed);
  while (now > seen && !peakBytes.compare_exchange_weak(seen, now, std::memory_order_relaxed)) {
  }
  return bytes;
}

std::size_t FrameMemory::current() { return liveBytes.load(std::memory_order_relaxed); }
std::size_t FrameMemory::peak() { return peakBytes.load(std::memory_order_relaxed); }
void FrameMemory::resetPeak() { peakBytes.store(liveBytes.load(std::memory_order_relaxed), std::memory_order_relaxed); }

}  // namespace tav
