#pragma once

#include <string>
#include <vector>

#include "framework/http/RestApi.h"

namespace http {
class HTTPCommand;
}
namespace launcher {
class PluginManager;
class Preferences;
}  // namespace launcher

namespace plugins {

class BasePlugin;

enum PluginType_ : int { PLUGIN_TYPE_NONE = 0, PLUGIN_TYPE_HOST = 1, PLUGIN_TYPE_SERVER_DISCOVERY = 2 };
/// The host starts plug-ins in ascending order.
enum PluginLoadOrder_ : int { LOAD_ORDER_HOST = 100, LOAD_ORDER_SERVER_DISCOVERY = 300, LOAD_ORDER_DEFAULT = 600 };

/// What the plug-in manager holds for each registered resource of a plug-in: the factory of the objects that serve its
/// requests. `createPlugin` may be called from several threads at once; `startup` and `shutdown` come from one.
class BasePluginProxy {
 public:
  explicit BasePluginProxy(const launcher::PluginManager* manager);
  BasePluginProxy(const BasePluginProxy&) = default;
  BasePluginProxy(BasePluginProxy&&) = default;
  BasePluginProxy& operator=(const BasePluginProxy&) = default;
  BasePluginProxy& operator=(BasePluginProxy&&) = default;

  // The order of these is part of the contract.
  /// A new object that serves one command; the caller deletes it.
  virtual BasePlugin* createPlugin(http::HTTPCommand* command) = 0;
  /// The class name of the proxy without its namespaces and without "Proxy".
  virtual std::string getPluginName();
  virtual PluginType_ getPluginID();
  virtual std::string getPluginVersion();
  virtual std::string getRequiredPluginManagerVersion();
  virtual PluginType_ getPluginType();
  virtual PluginLoadOrder_ getPluginLoadOrder();
  virtual void startup(launcher::Preferences* preferences, const launcher::PluginManager* manager);
  virtual void shutdown();
  virtual ~BasePluginProxy();

  const std::vector<http::RestApi>& getSupportedRestApis() const { return mSupportedRestApis; }
  const std::vector<http::RestApi>& getRequiredRestApis() const { return mRequiredRestApis; }
  const launcher::PluginManager* getPluginManager() const { return mManager; }

 protected:
  const launcher::PluginManager* mManager;
  std::vector<http::RestApi> mSupportedRestApis;
  std::vector<http::RestApi> mRequiredRestApis;
};

}  // namespace plugins
