// FilterRenderContext: what renders a colour filter over a picture, made once because it starts the
// threads that share the rows of each render.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tav/contracts/color_lookup_table.hpp"
#include "tav/contracts/image.hpp"

namespace tav {

/// Splits a picture into bands of rows and applies the filter to them on `threads` threads (the
/// caller's own among them). Thread-safe: renders from several threads run one after another.
class FilterRenderContext {
 public:
  /// `threads` 0 means one per processor, at most 8.
  explicit FilterRenderContext(unsigned threads = 0);
  ~FilterRenderContext();
  FilterRenderContext(const FilterRenderContext&) = delete;
  FilterRenderContext& operator=(const FilterRenderContext&) = delete;

  unsigned threadCount() const { return static_cast<unsigned>(workers_.size()) + 1; }

  /// `input` with `filter` applied; an empty picture for an empty input.
  Image render(const ColorFilter& filter, const Image& input);

 private:
  struct Job {
    const ColorFilter* filter = nullptr;
    const Image* input = nullptr;
    Image* output = nullptr;
    int bandRows = 0;
    int bands = 0;
  };
  /// Takes bands of the current job until none is left.
  void work(const Job& job, std::uint64_t generation);
  void workerLoop();

  std::mutex renderMutex_;  // one render at a time
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable done_;
  Job job_;                    // guarded by mutex_
  std::uint64_t generation_ = 0;  // guarded by mutex_: counts jobs, so that a worker takes each once
  int nextBand_ = 0;           // guarded by mutex_
  int bandsLeft_ = 0;          // guarded by mutex_
  bool stopping_ = false;      // guarded by mutex_
  std::vector<std::thread> workers_;
};

}  // namespace tav
