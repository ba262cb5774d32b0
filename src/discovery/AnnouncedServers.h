#pragma once

#include <string>

#include "discovery/Announced.h"
#include "discovery/HostTable.h"
#include "discovery/LogThrottle.h"
#include "discovery/PassAnnouncements.h"
#include "framework/utils/Mutex.h"
#include "json/elements.h"

namespace discovery {

/// The servers that peers announced, by address: what stands behind `DiscoveryMap`, which says what each operation
/// does. What strangers can have logged at will is logged the first time and then at a limited rate. Safe for every
/// thread.
class AnnouncedServers {
 public:
  Announced add(const std::string& address, const std::string& serverDetails, bool isVmware);
  bool withdraw(const std::string& address);
  void takeBackWithdrawal(const std::string& address);
  void replaceAll(HostTable::Map hosts);
  HostTable::Snapshot snapshot();

  void passBegins();
  void passEnds(const HostTable::Map& found);

 private:
  bool isTooLong(const std::string& address);
  bool readDetails(const std::string& text, json::Object& details);

  utils::Mutex mMutex;
  HostTable mHosts;
  PassAnnouncements mAnnouncements;
  LogThrottle mLongAddress;
  LogThrottle mEmptyDetails;
  LogThrottle mUnreadableDetails;
  LogThrottle mFullTable;
};

}  // namespace discovery
