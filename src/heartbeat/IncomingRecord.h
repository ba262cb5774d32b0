#pragma once

#include <optional>

#include "framework/utils/Observer.h"
#include "heartbeat/AnnounceRecord.h"

namespace heartbeat {

/// What a record said and what came of it, for the observer.
struct HeardRecord {
  const char* kind = "";             ///< of a fixed, small set
  const char* dropReason = nullptr;  ///< of such a set, too; null: the record was taken
  std::optional<utils::Sighting> sighting;
  bool hasChangedList = false;
};

/// Does what the record of another server says: a join is only logged, a register files the server among the announced
/// ones, a deregister takes it out. Records of other kinds say nothing. May be called by many threads at once.
HeardRecord handleAnnounceRecord(const AnnounceRecord& record);

/// Tells the observer. Not to be called with a lock held.
void tellOf(const HeardRecord& heard);

}  // namespace heartbeat
