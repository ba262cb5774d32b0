#pragma once

#include <string>
#include <vector>

#include "host/net/Endpoint.h"
#include "host/resources/Peer.h"

namespace launcher {
class PluginManager;
class Preferences;
}  // namespace launcher
namespace plugins {
class BasePluginProxy;
}

namespace host {

/// The host's own resources, registered from construction to destruction: the server's details and its health for
/// everybody, the call to another server and the search of an address for the process alone.
class HostResources {
 public:
  /// Manager and preferences must outlive it. `endpoints` is where this server listens; `ask` is how
  /// others are asked, by any thread.
  HostResources(launcher::PluginManager& manager, const launcher::Preferences& preferences,
                std::vector<Endpoint> endpoints, AskPeer ask);
  ~HostResources();
  HostResources(const HostResources&) = delete;
  HostResources& operator=(const HostResources&) = delete;

  /// The templates of those that must be answered promptly.
  static std::vector<std::string> promptTemplates();

 private:
  launcher::PluginManager& mManager;
  std::vector<plugins::BasePluginProxy*> mProxies;  ///< the manager's
};

}  // namespace host
