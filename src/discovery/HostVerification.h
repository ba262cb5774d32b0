#pragma once

#include <string>

#include "discovery/Candidate.h"
#include "discovery/HostLists.h"
#include "discovery/UnreachableAddresses.h"
#include "discovery/Verdict.h"
#include "framework/utils/Mutex.h"
#include "json/elements.h"

namespace discovery {

/// Decides whether an address that discovery produced is a server that belongs into the inventory, and files it. Asks
/// the server for its details only when it is new or has changed. Several threads may verify at once; lists, addresses
/// and mutex belong to others and outlive the object.
class HostVerification {
 public:
  /// `filing` is held while a server is filed, never while one is asked.
  HostVerification(HostLists& lists, UnreachableAddresses& unreachable, utils::Mutex& filing);

  /// With `provisional` the address is filed at once, with a record that stands for it. What cannot be accepted is
  /// logged and left out; nothing that the attributes hold makes this throw.
  Verdict verify(const std::string& address, const std::string& attributes, bool provisional);

 private:
  /// What is known of a candidate from the last pass.
  struct Known {
    bool isServerFound = false;
    bool isCounterUpdated = false;
    json::Object previous;
  };

  void fileProvisional(const std::string& address);
  Verdict judge(Candidate& candidate);
  Known lookUp(Candidate& candidate) const;
  Verdict fileLocal(const Candidate& candidate);
  Verdict askRemote(const Candidate& candidate);
  Verdict askDetails(const Candidate& candidate);
  bool fileCurrent(const Candidate& candidate, json::Object response);
  bool fileLegacy(const Candidate& candidate, const json::Object& response, int status, bool& isFiled);
  void fileLocked(const Candidate& candidate, json::Object record);

  HostLists& mLists;
  UnreachableAddresses& mUnreachable;
  utils::Mutex& mFiling;
};

}  // namespace discovery
