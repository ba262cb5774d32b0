#include "discovery/PassNews.h"

#include "discovery/DiscoveryMap.h"
#include "framework/utils/Observer.h"

namespace discovery {

void tellOfPass(const HostTable::Map& before, const HostTable::Map& after) {
  using utils::Sighting;
  auto listed = after.begin();
  for (const auto& [address, record] : before) {
    while (listed != after.end() && listed->first < address)
      ++listed;
    if (listed != after.end() && listed->first == address) continue;
    utils::observer::sighted(
        {address, "", Sighting::Source::kSlp, Sighting::Outcome::kLeft, "The last discovery pass did not find it"});
  }
  DiscoveryMap::tellOfChange();
}

}  // namespace discovery
