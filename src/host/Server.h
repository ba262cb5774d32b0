#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/Result.h"
#include "host/config/Settings.h"
#include "host/events/Events.h"
#include "host/http/Dispatcher.h"
#include "host/http/Encoding.h"
#include "host/http/Front.h"
#include "host/http/Routes.h"
#include "host/loader/PluginLoader.h"
#include "host/net/Endpoint.h"
#include "host/observe/Meter.h"
#include "host/observe/Observatory.h"
#include "host/observe/ObserveResources.h"
#include "host/peers/Peers.h"
#include "host/resources/HostResources.h"
#include "host/security/Security.h"
#include "host/service/Watchdog.h"
#include "host/tls/TlsContext.h"
#include "state/Directory.h"

namespace host {

/// The configuration asks for what cannot be had.
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The server put together: HTTP front, the host's own resources, and the plug-ins. It works on the process's plug-in
/// manager and preferences, so there is one at a time. Its operations are called by one thread, in their order here.
class Server {
 public:
  /// Fills the preferences. Throws ConfigurationError when the state directory cannot be made, or TLS not be set up.
  explicit Server(const Settings& settings);
  /// Stops.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Binds the addresses and sets the preference `listening_port` to the port of the first.
  Result<std::vector<Endpoint>> listen();
  /// Begins to serve, then loads the plug-ins of a directory and starts them: a plug-in that announces this server may
  /// be asked for its details at once.
  void start(const std::string& pluginDirectory);
  /// Ends everything in order: takes in nothing more, shuts the plug-ins down, lets answers under way end for half a
  /// second, and unloads. The framework's shutting-down state stays on.
  void stop();

  /// For settings that change while it runs; until `stop`.
  Peers& peers() { return *mPeers; }

  /// What is served beside the resources of the plug-in manager.
  const Routes& routes() const { return *mRoutes; }

  /// For settings that change while it runs; as long as the server.
  Security& security() { return *mSecurity; }

  /// Null where clients are served without; until `stop`.
  TlsContext* tls() const { return mTls.get(); }

  Observatory& observatory() { return *mObservatory; }

  std::vector<PluginInfo> plugins() const { return mLoader.plugins(); }

 private:
  void observe();

  const Settings mSettings;
  const state::Directory mState;
  const std::shared_ptr<Observatory> mObservatory = std::make_shared<Observatory>();
  std::unique_ptr<Dispatcher> mDispatcher;
  std::unique_ptr<Routes> mRoutes;
  std::unique_ptr<Peers> mPeers;
  std::unique_ptr<Events> mEvents;
  std::unique_ptr<Security> mSecurity;
  std::unique_ptr<Encoding> mEncoding;
  std::unique_ptr<Meter> mMeter;
  std::shared_ptr<TlsContext> mTls;  ///< null: served without
  std::unique_ptr<Watchdog> mWatchdog;
  std::unique_ptr<Front> mFront;
  std::unique_ptr<HostResources> mResources;
  std::unique_ptr<ObserveResources> mObserveResources;
  PluginLoader mLoader;
};

}  // namespace host
