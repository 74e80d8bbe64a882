#include "tav/library/filter_render_context.hpp"

#include <algorithm>

namespace tav {

FilterRenderContext::FilterRenderContext(unsigned threads) {
  if (threads == 0) threads = std::clamp(std::thread::hardware_concurrency(), 1u, 8u);
  for (unsigned i = 1; i < threads; ++i) workers_.emplace_back([this] { workerLoop(); });
}

FilterRenderContext::~FilterRenderContext() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (auto& worker : workers_) worker.join();
}

Image FilterRenderContext::render(const ColorFilter& filter, const Image& input) {
  if (input.isEmpty()) return {};
  Image output;
  output.width = input.width;
  output.height = input.height;
  output.pixels.resize(input.pixels.size());

  std::lock_guard renderLock(renderMutex_);
  // Bands of 32 rows: a band's input and output (500 KB at 1920 wide) stay in a core's cache, and many
  // small bands let a thread that was descheduled hold the others back little.
  const int bandRows = 32;
  Job job{&filter, &input, &output, bandRows, (input.height + bandRows - 1) / bandRows};
  std::uint64_t generation = 0;
  {
    std::lock_guard lock(mutex_);
    job_ = job;
    nextBand_ = 0;
    bandsLeft_ = job.bands;
    generation = ++generation_;
  }
  wake_.notify_all();
  work(job, generation);
  std::unique_lock lock(mutex_);
  done_.wait(lock, [&] { return bandsLeft_ == 0; });
  job_ = Job{};
  return output;
}

void FilterRenderContext::work(const Job& job, std::uint64_t generation) {
  while (true) {
    int band = 0;
    {
      std::lock_guard lock(mutex_);
      // A worker that woke for an earlier render must not take bands of this one.
      if (generation_ != generation || nextBand_ >= job.bands) return;
      band = nextBand_++;
    }
    const int first = band * job.bandRows;
    const int rows = std::min(job.bandRows, job.input->height - first);
    job.filter->apply(*job.input, *job.output, first, rows);
    std::lock_guard lock(mutex_);
    if (--bandsLeft_ == 0) done_.notify_all();
  }
}

void FilterRenderContext::workerLoop() {
  std::uint64_t seen = 0;
  while (true) {
    Job job;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [&] { return stopping_ || generation_ != seen; });
      if (stopping_) return;
      seen = generation_;
      job = job_;
    }
    work(job, seen);
  }
}

}  // namespace tav
