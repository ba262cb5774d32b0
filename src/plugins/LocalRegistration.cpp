// The service object's part in keeping the local server findable.

#include <sstream>
#include <utility>

#include "discovery/ServerDiscovery.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "json/writer.h"
#include "plugins/PluginState.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {

void ServerDiscoveryPlugin::registerServiceDiscovery() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::registerServiceDiscovery");
  utils::formatted_log_t(utils::LOG_FAILURE,
                         "ServerDiscoveryPl:registerServiceDiscovery:this build cannot register the local server with "
                         "SLP, so other servers do not find it by themselves");
}

unsigned short ServerDiscoveryPlugin::deRegisterServiceDiscovery() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::deRegisterServiceDiscovery");
  PluginState& state = PluginState::instance();
  if (ServerDiscoveryPlugin* const service = state.servicePlugin()) service->endCommand();
  return discovery::ServerDiscovery::getInstance()->deRegisterSLPService(state.registrationUrl(), state.stopMonitor);
}

std::string ServerDiscoveryPlugin::getSlpRegistrationUrl(std::string address) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::getSlpRegistrationUrl");
  return "service:x-mgmt.quorvel:kvt://" + address + ":" + launcher::Preferences::get_instance()->get_listening_port();
}

std::string ServerDiscoveryPlugin::convertJSONObjcetToString(json::Object object) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::convertJSONObjcetToString");
  std::ostringstream text;
  json::Writer::Write(object, text);
  return std::move(text).str();
}

std::string ServerDiscoveryPlugin::ReplaceAll(std::string text, const std::string& from, const std::string& to) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::ReplaceAll");
  utils::StringHelper::replace(text, from, to);
  return text;
}

}  // namespace plugins
