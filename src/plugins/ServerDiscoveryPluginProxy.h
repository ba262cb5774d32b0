#pragma once

#include <memory>
#include <vector>

#include "framework/plugins/BasePluginProxy.h"

namespace plugins {

class ServerDiscoveryPlugin;

/// What the plug-in manager holds for each of the plug-in's four resources: makes an object per request, and on
/// `startup` and `shutdown`, which come from one thread, brings the registration of the local server up and down.
class ServerDiscoveryPluginProxy : public BasePluginProxy {
 public:
  explicit ServerDiscoveryPluginProxy(const launcher::PluginManager* manager);
  ~ServerDiscoveryPluginProxy() override;

  BasePlugin* createPlugin(http::HTTPCommand* command) override;
  PluginType_ getPluginID() override;
  PluginType_ getPluginType() override;
  PluginLoadOrder_ getPluginLoadOrder() override;
  /// Makes a new service object each time; the settings are those of the process.
  void startup(launcher::Preferences* preferences, const launcher::PluginManager* manager) override;
  void shutdown() override;

 private:
  /// Ends and joins the monitor; false when there is none.
  bool endMonitor();
  void dropServicePlugins();

  /// The service objects, the current one last. Earlier ones stay until shutdown has joined the thread that may still
  /// work with them.
  std::vector<std::unique_ptr<ServerDiscoveryPlugin>> mServicePlugins;
};

}  // namespace plugins
