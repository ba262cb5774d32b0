#include "host/resources/ResourceProxy.h"

#include <utility>

#include "framework/plugins/BasePlugin.h"

namespace host {
namespace {

/// Serves one command with the proxy's function.
class ResourcePlugin : public plugins::BasePlugin {
 public:
  ResourcePlugin(http::HTTPCommand* command, const plugins::BasePluginProxy* proxy,
                 const ResourceProxy::Handler& handler)
      : BasePlugin(command, proxy) {
    addPluginApi(
        0, [&handler, command](const ResourceProxy::Parameters& parameters, const json::Object& request,
                               json::Object& response) { return handler(*command, parameters, request, response); });
  }
};

}  // namespace

ResourceProxy::ResourceProxy(const launcher::PluginManager* manager, const http::RestApi& api, Handler handler)
    : BasePluginProxy(manager), mHandler(std::move(handler)) {
  mSupportedRestApis.push_back(api);
}

plugins::BasePlugin* ResourceProxy::createPlugin(http::HTTPCommand* command) {
  return new ResourcePlugin(command, this, mHandler);
}

}  // namespace host
