// StreamHistoryMigrator: the one place where an entry read from disk is brought up to date.
#pragma once

#include "tav/history/stream_history_entry.hpp"

namespace tav {

/// A namespace of one operation, with no instances. The library never calls it; the host calls it on
/// entries it has read.
class StreamHistoryMigrator {
 public:
  StreamHistoryMigrator() = delete;

  /// The entry brought up to the current schema. Every version so far reads into the current record
  /// directly (older documents lack only keys that read as empty), so the entry comes back as it was,
  /// its schemaVersion included, whatever that version is.
  static StreamHistoryEntry migrate(StreamHistoryEntry entry) { return entry; }
};

}  // namespace tav
