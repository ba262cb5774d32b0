#pragma once

#include <map>
#include <string>
#include <vector>

#include "discovery/UnreachableAddresses.h"
#include "framework/utils/Mutex.h"
#include "json/elements.h"

namespace discovery {

/// The inventory as everybody outside its own class sees it: the servers that were found, searched for and added. A
/// singleton that lives until the library is unloaded. Every operation may be called by every thread.
class ServerDiscovery {
 public:
  static ServerDiscovery* getInstance();

  // The order of these is part of the contract.

  /// Both answer an SLP result in the low 16 bits, 0 for success.
  virtual unsigned short registerSLPService(std::string serverDetails, bool noDiscoveryThread,
                                            std::string registrationUrl, std::string ipAddress) = 0;
  virtual unsigned short deRegisterSLPService(std::string registrationUrl, bool stop) = 0;
  /// The records of the discovered servers, in the order of their keys.
  virtual void getDiscoveredHost(json::Array& out) = 0;
  /// Files `record`'s value under `key` among the discovered servers, unless there is one, and publishes them all.
  virtual void addHost(std::string key, json::Object record, bool verified = true) = 0;
  /// Files a searched server under the last path segment of `key`, unless there is one. With `fromRequest` the record
  /// is a provisional one for the address that `request` names.
  virtual void addToSearchHostList(std::string key, json::Object request, json::Object serverRecord,
                                   bool fromRequest) = 0;
  /// 1 and the record when `key` was searched for, else 2 and `out` as it was.
  virtual int getSearchHost(std::string key, json::Object& out) = 0;
  /// 1 while a discovery pass runs and before the first has ended, else 0.
  virtual int getDiscoveredServerStatus() = 0;
  /// Takes the server out of the published list and the discovery map; whether one of them held it.
  virtual bool removeSpecificServer(std::string key) = 0;
  /// The searched servers by key.
  virtual void getDiscoveredHosts(std::map<std::string, json::Object>& out) = 0;

  /// The keys of all records whose display identifier equals `displayId` ignoring case, each once: of the searched
  /// servers, then the discovery map, then the published list. An empty identifier is no server's.
  std::vector<std::string> keysOfServer(const std::string& displayId);
  /// Starts the discovery thread, unless it is there or this installation is of a type that only lets itself be found.
  void startDiscovery();
  /// Lets an address be asked for its details again that did not answer once.
  void clearUnreachable(const std::string& address);

  /// Held for a whole discovery pass.
  utils::Mutex mMutex;
  /// Held while a verified server is filed and while the published list is replaced at the end of a pass.
  utils::Mutex mHostListMutex;
  /// Addresses whose details could not be had; they are not asked again until they are cleared.
  UnreachableAddresses mapUnreachableIP;

 protected:
  ServerDiscovery() = default;
  ~ServerDiscovery() = default;
};

}  // namespace discovery
