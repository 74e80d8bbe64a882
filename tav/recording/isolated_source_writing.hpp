// The one interface through which the isolated recording holds the writer of a source's file, so that
// a host (or a test) can put any writer behind the coordinator's writer factory.
#pragma once

#include <cstdint>
#include <string>

#include "tav/contracts/cm_sample_buffer.hpp"

namespace tav {

/// One file of one source. The append operations are called from any capture thread, concurrently, and
/// must return at once (they never block on the file); `finalise`, `abort` and `recordedByteCount` block
/// until their work is done and are called from a thread that is not one of the writer's own. None of
/// them throws.
class IsolatedSourceWriting {
 public:
  virtual ~IsolatedSourceWriting() = default;

  /// The file's name without folder and extension; unique within a session except for partners
  /// ("Name.mov" and "Name.m4a" of one source).
  virtual const std::string& fileBaseName() const = 0;
  /// Whether the file has a video track.
  virtual bool includesVideo() const = 0;

  virtual void appendVideo(const CMSampleBuffer& sampleBuffer) = 0;
  virtual void appendAudio(const CMSampleBuffer& sampleBuffer) = 0;

  /// Writes what was appended before the call, then finishes the file (or discards it when it holds
  /// nothing). Later appends are ignored.
  virtual void finalise() = 0;
  /// Stops and removes the file. Later appends are ignored.
  virtual void abort() = 0;
  /// The size in bytes of the file so far; 0 when there is none.
  virtual std::int64_t recordedByteCount() = 0;
};

}  // namespace tav
