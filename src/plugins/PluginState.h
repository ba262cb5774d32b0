#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "discovery/Published.h"
#include "framework/utils/Thread.h"
#include "json/elements.h"

namespace plugins {

class ServerDiscoveryPlugin;

/// The local server as the list of servers knows it. Apart from what the registration compares with, so that listing
/// the servers never hides a change of the local one from it.
struct LocalServer {
  json::Object record;
  std::string text;  ///< the record as compact text
  std::string ip;    ///< the address that the local server is known by
};

/// What the objects of the plug-in share, for the life of the library. Safe for every thread but for `monitor`, which
/// belongs to the thread that starts the plug-in up and shuts it down.
class PluginState {
 public:
  static PluginState& instance();

  PluginState();
  ~PluginState();
  PluginState(const PluginState&) = delete;
  PluginState& operator=(const PluginState&) = delete;

  /// The service object last made, or null. Owned by its proxy.
  ServerDiscoveryPlugin* servicePlugin() const { return mServicePlugin; }
  void setServicePlugin(ServerDiscoveryPlugin* plugin) { mServicePlugin = plugin; }
  /// Leaves no pointer to an object that is about to be deleted.
  void forgetServicePlugin(ServerDiscoveryPlugin* plugin);

  /// The SLP URL under which the local server is registered, "" when it is not.
  std::string registrationUrl() const { return *mRegistrationUrl.load(); }
  void setRegistrationUrl(std::string url);

  /// Never null.
  std::shared_ptr<const LocalServer> localServer() const { return mLocalServer.load(); }
  void setLocalServer(LocalServer localServer);

  /// Follows the local server's details; null when it does not run.
  std::unique_ptr<utils::Thread> monitor;
  /// Ends the monitor, and keeps any later one from working: it is never set back.
  std::atomic<bool> stopMonitor = false;

 private:
  std::atomic<ServerDiscoveryPlugin*> mServicePlugin = nullptr;
  discovery::Published<const std::string> mRegistrationUrl{std::make_shared<const std::string>()};
  discovery::Published<const LocalServer> mLocalServer{std::make_shared<const LocalServer>()};
};

}  // namespace plugins
