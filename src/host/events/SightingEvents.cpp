#include "host/events/SightingEvents.h"

#include "host/observe/Observatory.h"
#include "host/observe/SightingView.h"

namespace host {

void addSightings(EventSource& source, const Observatory& observatory) {
  source.sightingsVersion = [&observatory] { return observatory.sightings().version(); };
  source.sightings = [&observatory](std::uint64_t version, std::size_t most) {
    Sightings::Changes seen = observatory.changedSince(version, most);
    SightingChanges changes{seen.version, seen.isComplete, seen.hasMore, {}, std::move(seen.removed)};
    if (!seen.isComplete) return changes;  // all of them: they are fetched anew
    for (const auto& entry : seen.changed) {
      changes.changed.push_back(sightingDocument(*entry));
    }
    return changes;
  };
}

}  // namespace host
