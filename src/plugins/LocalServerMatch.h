#pragma once

#include <string>
#include <vector>

#include "json/elements.h"

namespace plugins {

/// What tells the local server from others: its addresses as machine and settings give them.
struct LocalAddresses {
  std::string hostIp;         ///< the machine's own choice among its addresses
  bool isListed = false;      ///< whether the machine could list its addresses
  std::string localServerIp;  ///< the address that the local server is known by
  std::string natDetails;     ///< the addresses that others see in front of it, separated by commas
};

/// Finds the local server in a list of records. The records must come in the list's order, once each: what is found in
/// one bears on the next.
class LocalServerMatch {
 public:
  explicit LocalServerMatch(LocalAddresses addresses);

  bool matches(const json::Object& record);
  /// Set by the first match that an address of the local server or of its NAT proves.
  bool isLocalServerFound() const { return mIsLocalServerFound; }

 private:
  bool matchesNic(const json::Array* nics) const;
  bool matchesNat(const std::string& firstIp) const;

  const LocalAddresses mAddresses;
  std::vector<std::string> mNatAddresses;
  bool mIsLocalServerFound = false;
};

}  // namespace plugins
