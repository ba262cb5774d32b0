// GET "/1.0/servers"

#include <string>
#include <utility>

#include "discovery/ServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "framework/utils/Mutex.h"
#include "framework/utils/StringHelper.h"
#include "framework/utils/System.h"
#include "json/lookup.h"
#include "json/reader.h"
#include "plugins/LocalServerMatch.h"
#include "plugins/PluginState.h"
#include "plugins/Resources.h"
#include "plugins/ServerDiscoveryPlugin.h"
#include "plugins/ServerRecord.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;

std::string hostIp() {
  std::string address;
  utils::System::get_instance()->getLocalIPAddress(address);
  return address;
}

std::string localServerId() {
  std::string id = utils::System::get_instance()->getLocalServerId();
  utils::StringHelper::to_lower(id);
  return id;
}

LocalAddresses localAddresses() {
  std::string ipV4[utils::System::kMaxAddresses];
  std::string ipV6[utils::System::kMaxAddresses];
  int count4 = 0;
  int count6 = 0;
  LocalAddresses addresses;
  addresses.hostIp = hostIp();
  addresses.isListed = utils::System::get_instance()->getIPAddresses(ipV4, ipV6, count4, count6) != 0;
  addresses.localServerIp = PluginState::instance().localServer()->ip;
  addresses.natDetails = launcher::Preferences::get_instance()->getNATDetails();
  return addresses;
}

json::UnknownElement healthStateOf(const json::Object& record) {
  const json::UnknownElement* const state = json::find(record, {Keys::PROPERTIES, Keys::HEALTH, Keys::STATE});
  return state == nullptr ? json::UnknownElement(json::String()) : *state;
}

/// The record as its compact text reads, or as it is when leaving the blanks out of it made two names the same.
json::Object readBack(const std::string& text, const json::Object& record) {
  json::Object entry;
  try {
    json::Reader::Read(entry, text);
  } catch (const json::Exception& exception) {
    utils::formatted_log_t(utils::LOG_ERROR, "ServerDiscoveryPl:getDiscoveredServers:local server details:%1%") %
        exception.what();
    return record;
  }
  return entry;
}

void addLinks(json::Object& entry) {
  const std::string id = localServerId();
  json::UnknownElement& links = entry[Keys::URIS];
  links[Keys::SYSTEM_DETAIL] = json::String(resourceUri({Keys::SERVER_DETAIL, id}));
  for (const char* const word : {Keys::LOGIN, Keys::VERSION, Keys::VERSIONS, Keys::USERS}) {
    links[word] = json::String(resourceUri({Keys::SERVERS, id, word}));
  }
}

}  // namespace

ServerDiscoveryPlugin::Status ServerDiscoveryPlugin::getDiscoveredServers(const Parameters&, const json::Object&,
                                                                          json::Object& response) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::getDiscoveredServers");
  json::Array servers;
  discovery::ServerDiscovery::getInstance()->getDiscoveredHost(servers);
  utils::formatted_log_t(utils::LOG_DETAIL, "ServerDiscoveryPl:getDiscoveredServers:RemoteServersArray.Size() is:%1%") %
      servers.Size();

  if (!markLocalServer(servers)) appendLocalServer(servers);

  setStatus(response, codeNumber(Keys::SUCCESS_CODE), Keys::SUCCESS);
  response[Keys::COUNT] = json::Number(static_cast<double>(servers.Size()));
  response[Keys::VALUE_S] = std::move(servers);
  return http::HTTPCommand::HTTP_OK;
}

json::Object ServerDiscoveryPlugin::fetchLocalServer() {
  const http::RestApi details(http::RestApi::GET, resourcePath({Keys::SERVERS, localServerId()}), false);
  json::Object reply;
  executePlugin(&details, reply);
  const json::Object* const record = json::objectAt(reply, {Keys::VALUE});
  return record == nullptr ? json::Object() : *record;
}

bool ServerDiscoveryPlugin::markLocalServer(json::Array& servers) {
  const LocalAddresses addresses = localAddresses();
  LocalServerMatch match(addresses);
  bool hasMatched = false;
  json::UnknownElement healthState;
  for (std::size_t i = 0; i < servers.Size(); ++i) {
    const auto* const record = std::as_const(servers)[i].getIf<json::Object>();
    if (record == nullptr || !match.matches(*record)) continue;
    if (!hasMatched) healthState = healthStateOf(fetchLocalServer());
    hasMatched = true;
    servers[i][Keys::PROPERTIES][Keys::HEALTH][Keys::STATE] = healthState;
    markAsLocal(servers[i], addresses.localServerIp);
  }
  utils::formatted_log_t(utils::LOG_DETAIL, "ServerDiscoveryPl:getDiscoveredServers:isLocalServerFound :%1%") %
      static_cast<int>(match.isLocalServerFound());
  return hasMatched;
}

void ServerDiscoveryPlugin::appendLocalServer(json::Array& servers) {
  utils::Mutex mutex;  // this call's own: requests do not wait for one another, and the last one's view stays
  const utils::Lock lock(&mutex, false);
  LocalServer localServer;
  localServer.ip = hostIp();
  localServer.record = fetchLocalServer();
  localServer.text = ReplaceAll(ReplaceAll(convertJSONObjcetToString(localServer.record), "\t", ""), " ", "");
  json::Object record = readBack(localServer.text, localServer.record);

  utils::formatted_log_t(
      utils::LOG_DETAIL,
      "ServerDiscoveryPl:getDiscoveredServers:strLocalServerIP while populating the local server details:%1%") %
      localServer.ip;
  json::UnknownElement entry = record;
  markAsLocal(entry, localServer.ip);
  PluginState::instance().setLocalServer(std::move(localServer));
  servers.Insert(entry);
  addLinks(entry);
}

}  // namespace plugins
