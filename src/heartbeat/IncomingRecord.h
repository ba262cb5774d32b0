#pragma once

#include "heartbeat/AnnounceRecord.h"

namespace heartbeat {

/// Does what the record of another server says: a join is only logged, a register files the server among the announced
/// ones, a deregister takes it out. Records of other kinds say nothing. May be called by many threads at once.
void handleAnnounceRecord(const AnnounceRecord& record);

}  // namespace heartbeat
