#pragma once

#include "discovery/HostTable.h"
#include "json/elements.h"

namespace discovery {

/// The mark, among a record's properties, of a server that a user added.
constexpr const char* kIsManual = "isManual";

/// Whether a user added the server.
bool isManual(const json::Object& record);

/// The inventory to publish after a pass that found servers, from what was published before and what was found. Found
/// servers are in it, with their published record when they had one. Of the servers that users added, those stay whose
/// key comes before the greatest found key, and all of them when the pass found anything new or one of themselves. In
/// time n log n of the number of servers.
HostTable::Map rebuildInventory(const HostTable::Map& published, const HostTable::Map& found);

}  // namespace discovery
