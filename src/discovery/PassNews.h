#pragma once

#include "discovery/HostTable.h"

namespace discovery {

/// Tells the observer what a pass has made of the list of servers: who is no longer in it, and that it may be another.
/// In time linear in the number of servers. Not to be called with a lock held.
void tellOfPass(const HostTable::Map& before, const HostTable::Map& after);

}  // namespace discovery
