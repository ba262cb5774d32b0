#pragma once

#include <atomic>
#include <cstdint>
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

/// What the local server was registered as, for comparison with what it is by now, and for the withdrawal.
struct RegistrationState {
  json::Object details;    ///< as the details resource gave them
  std::string text;        ///< the details as compact text
  int hashCode = 0;        ///< of the text
  std::string url;         ///< of the last attempt, whether it worked or not; "" before the first
  std::string address;     ///< of the last attempt
  bool isPending = false;  ///< the machine had no address to register the details under
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

  /// Never null. Written by the monitor alone once it runs.
  std::shared_ptr<const RegistrationState> registration() const { return mRegistration.load(); }
  void setRegistration(RegistrationState registration);
  /// Changes nothing else of the registration.
  void setRegistrationUrl(const std::string& url);

  /// Never null.
  std::shared_ptr<const LocalServer> localServer() const { return mLocalServer.load(); }
  void setLocalServer(LocalServer localServer);
  /// Changes nothing else of the local server.
  void setLocalServerIp(const std::string& ip);

  /// Follows the local server's details; null when it does not run.
  std::unique_ptr<utils::Thread> monitor;
  /// Ends the monitor, and keeps any later one from working: it is never set back.
  std::atomic<bool> stopMonitor = false;
  /// How often the local server's details have changed since the library was loaded.
  std::atomic<std::uint32_t> changeCounter = 0;

 private:
  std::atomic<ServerDiscoveryPlugin*> mServicePlugin = nullptr;
  discovery::Published<const RegistrationState> mRegistration{std::make_shared<const RegistrationState>()};
  discovery::Published<const LocalServer> mLocalServer{std::make_shared<const LocalServer>()};
};

}  // namespace plugins
