#pragma once

#include <functional>
#include <map>
#include <string>

#include "framework/http/HTTPCommand.h"
#include "framework/plugins/BasePluginProxy.h"
#include "json/elements.h"

namespace host {

/// One resource of the host itself: a function behind the same proxy that a plug-in has.
class ResourceProxy : public plugins::BasePluginProxy {
 public:
  using Parameters = std::map<std::string, std::string>;
  /// Called from several threads at once.
  using Handler = std::function<http::HTTPCommand::HTTPStatus_(http::HTTPCommand& command, const Parameters& parameters,
                                                               const json::Object& request, json::Object& response)>;

  ResourceProxy(const launcher::PluginManager* manager, const http::RestApi& api, Handler handler);

  plugins::BasePlugin* createPlugin(http::HTTPCommand* command) override;
  plugins::PluginType_ getPluginID() override { return plugins::PLUGIN_TYPE_HOST; }
  plugins::PluginType_ getPluginType() override { return plugins::PLUGIN_TYPE_HOST; }
  plugins::PluginLoadOrder_ getPluginLoadOrder() override { return plugins::LOAD_ORDER_HOST; }

 private:
  const Handler mHandler;
};

}  // namespace host
