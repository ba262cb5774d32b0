#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "discovery/Announced.h"
#include "discovery/HostTable.h"
#include "json/elements.h"

namespace discovery {

/// The process-wide table of announced servers: address to details record. Every operation may be called by every
/// thread; `addDiscoveredHost` is not serialised with the others, so it may be lost to a replacement of the table
/// that runs at the same time.
class DiscoveryMap {
 public:
  /// Files an announced server unless its address is there: an empty record for a VMware host, else the document that
  /// `serverDetails` holds. A text that is no document is logged and files nothing,
  /// and so do an address that is too long and a full table.
  static void addDiscoveredHost(std::string address, std::string serverDetails, bool isVmware);
  /// The same, and says what became of it.
  static Announced announce(const std::string& address, const std::string& serverDetails, bool isVmware);
  /// A copy of the whole table.
  static std::map<std::string, json::Object> getDiscoveredHost();
  /// Replaces the whole table.
  static void updateServerList(std::map<std::string, json::Object> hosts);

  /// Takes out a server that is to go, whatever the running pass finds; whether it was there.
  static bool withdraw(const std::string& address);
  /// A server that was taken out is filed anew: let the running pass list it when it finds it.
  static void takeBackWithdrawal(const std::string& address);

  // A pass replaces the table by what it found, but what is announced from its beginning on counts for more.

  static void passBegins();
  /// With nothing found the table stays as it is.
  static void passEnds(const HostTable::Map& found);

  /// The whole table as it is now, at the same cost whatever its size.
  static HostTable::Snapshot snapshot();

  /// Tells the observer that the list of servers is not what it was. Not done by the operations themselves, whose
  /// callers hold locks. `whenEmpty`: how many servers are listed while nobody is announced.
  static void tellOfChange(std::size_t whenEmpty = 0);
};

}  // namespace discovery
