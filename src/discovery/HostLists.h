#pragma once

#include <cstdint>
#include <string>

#include "discovery/HostTable.h"
#include "discovery/LogThrottle.h"
#include "discovery/UpdateCounters.h"
#include "framework/utils/Mutex.h"
#include "json/elements.h"

namespace discovery {

/// The host lists of the inventory and what is done to them. Safe for every thread, each list by itself; what an
/// operation does in several steps is not atomic.
class HostLists {
 public:
  /// Servers that users searched for, by the address that they gave.
  HostTable mSearchedHosts;
  /// Servers that the running discovery pass has verified, by address.
  HostTable mCycleDiscoveredHosts;
  /// The published inventory: grows during a pass and is rebuilt at its end.
  HostTable mPartialDiscoveredHosts;
  /// The published inventory as the last pass left it.
  HostTable mDiscoveredHosts;
  UpdateCounters mUpdatedCounters;

  /// Files a searched server under the last path segment of `key`, unless there is one, and marks it as added by hand.
  void addSearched(const std::string& key, const json::Object& request, const json::Object& serverRecord,
                   bool fromRequest);
  /// Files the answer's value in the published list, unless there is one, and publishes that list as the discovery map.
  void addToPublished(const std::string& key, const json::Object& answer);
  /// Files a verified server in the lists of the pass and of the published servers, or replaces it there.
  bool file(const std::string& address, const json::Object& record);
  /// The same, and remembers which state of the server this is.
  void file(const std::string& address, const json::Object& record, std::uint32_t counter, const std::string& gid);
  /// Takes the server out of the published list, what the running pass has found, and the discovery map, to which that
  /// pass does not bring it back. Whether the published list or the discovery map held it.
  bool remove(const std::string& key);
  /// The records of the discovery map or, when that is empty, of the published list.
  void copyDiscovered(json::Array& out) const;
  /// Rebuilds the published list at the end of a pass, holding `filing` while it is replaced.
  void publishPass(utils::Mutex& filing);

 private:
  LogThrottle mFullLists;
  LogThrottle mLeftOut;
};

}  // namespace discovery
