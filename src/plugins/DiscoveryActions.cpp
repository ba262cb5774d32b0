#include "plugins/DiscoveryActions.h"

#include <map>
#include <optional>
#include <utility>

#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/http/UriTemplate.h"
#include "framework/utils/Conversion.h"
#include "framework/utils/Exceptions.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"
#include "framework/utils/StringHelper.h"
#include "json/lookup.h"
#include "plugins/Resources.h"
#include "plugins/ServerDiscoveryPlugin.h"
#include "plugins/ServerRecord.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;
using Status = http::HTTPCommand::HTTPStatus_;
using utils::Sighting;

constexpr const char* kParameters = "parameters";
constexpr const char* kAddress = "address";
constexpr const char* kServer = "server";
/// What the look-up of a searched server answers for one that is there.
constexpr int kFound = 1;

std::string decoded(const std::string& segment) {
  return http::percentDecode(segment).value_or(segment);
}

std::string serverParameter(const json::Object& request) {
  return utils::Conversion::trimPrefixURI(json::textAt(request, {kParameters, kServer}));
}

/// What follows "servers/" in the URI, in lower case; "" when there is nothing.
std::string idAfterServers(std::string uri) {
  utils::StringHelper::to_lower(uri);
  const std::string collection = Keys::SERVERS;
  const auto found = uri.find(collection);
  if (found == std::string::npos) return "";
  const auto begin = found + collection.size() + 1;
  return begin < uri.size() ? decoded(uri.substr(begin)) : "";
}

void describeReach(json::Object& response, const std::string& requestUri, bool isReachable) {
  json::UnknownElement& value = response[Keys::VALUE];
  value[Keys::SELF][Keys::TYPE] = json::String(Keys::TYPE_SERVER);
  value[Keys::SELF][Keys::URI] = json::String(requestUri);
  value[Keys::PROPERTIES]["isReachable"] = json::Boolean(isReachable);
}

void tellOfSearch(const std::string& address, const json::Object& record) {
  utils::observer::sighted({listedAddress(address, record), displayIdOf(record), Sighting::Source::kSearch,
                            Sighting::Outcome::kVerified, ""});
}

void tellOfHand(const std::string& address, Sighting::Outcome outcome, const char* reason) {
  utils::observer::sighted({address, "", Sighting::Source::kByHand, outcome, reason});
}

bool removeListed(discovery::ServerDiscovery& inventory, const std::string& key) {
  if (!inventory.removeSpecificServer(key)) return false;
  tellOfHand(key, Sighting::Outcome::kLeft, "It was removed by hand");
  return true;
}

/// An address that answered may be asked for its details again.
void clearUnreachable(discovery::ServerDiscovery& inventory, const std::string& address, const json::Object& reply) {
  inventory.clearUnreachable(address);
  const json::Object* const record = json::objectAt(reply, {Keys::VALUE});
  const std::string foundAt = record == nullptr ? "" : lastCommunicatedIpOf(*record);
  if (!foundAt.empty()) inventory.clearUnreachable(foundAt);
}

/// The searched server of this identifier as key and record.
using SearchedServer = std::pair<std::string, json::Object>;
std::optional<SearchedServer> findSearched(discovery::ServerDiscovery& inventory, const std::string& id) {
  std::map<std::string, json::Object> hosts;
  inventory.getDiscoveredHosts(hosts);
  for (const auto& [key, record] : hosts) {
    const std::string strServerID = displayIdOf(record);
    utils::formatted_log_t(utils::LOG_DETAIL, "strServerID from mSearchedHosts:%1%") % strServerID;
    if (!strServerID.empty() && utils::StringHelper::compare_ignore_case(id, strServerID)) return {{key, record}};
  }
  return std::nullopt;
}

/// Tries the identifier as a key, then as a display identifier. Several records may carry it: a server that was
/// searched for at two addresses is listed under one of them, and one that was searched for by name under its address.
bool removeById(discovery::ServerDiscovery& inventory, const std::string& id) {
  if (removeListed(inventory, id)) return true;
  for (const std::string& key : inventory.keysOfServer(id)) {
    if (removeListed(inventory, key)) return true;
    json::Object record;
    const bool isSearched = inventory.getSearchHost(key, record) == kFound;
    if (isSearched && removeListed(inventory, listedAddress(key, record))) return true;
  }
  return false;
}

}  // namespace

Status searchServer(const ServerDiscoveryPlugin& plugin, discovery::ServerDiscovery& inventory,
                    const std::string& requestUri, const json::Object& request, json::Object& response) {
  const std::string address = json::textAt(request, {kParameters, kAddress});
  const http::RestApi search(http::RestApi::POST, resourcePath({"searchserver_"}), false);
  json::Object reply;
  if (plugin.executePlugin(&search, request, reply) != http::HTTPCommand::HTTP_OK) {
    setFailure(response);  // the host, which knows why, tells the observer
    describeReach(response, requestUri, false);
    return http::HTTPCommand::HTTP_BAD_REQUEST;
  }
  const std::string searchedUri = resourceUri({"searchedserver", http::percentEncode(address)});
  inventory.addToSearchHostList(searchedUri, request, reply, json::flagAt(reply, {"isVmware"}));
  clearUnreachable(inventory, address, reply);
  json::Object filed;
  if (inventory.getSearchHost(address, filed) != kFound) {
    throw utils::PluginException(__FILE_NAME__, __LINE__, "The server was found but could not be kept");
  }
  tellOfSearch(address, filed);
  setSuccess(response);
  describeReach(response, requestUri, true);
  response[Keys::VALUE][Keys::URIS][Keys::SERVER] = json::String(searchedUri);
  return http::HTTPCommand::HTTP_OK;
}

Status addServer(discovery::ServerDiscovery& inventory, const json::Object& request, json::Object& response) {
  const auto server = findSearched(inventory, http::lastPathSegment(serverParameter(request)));
  const std::string strServerIP = server ? listedAddress(server->first, server->second) : "";
  utils::formatted_log_t(utils::LOG_DETAIL, "strServerIP from mSearchedHosts:%1%") % strServerIP;
  if (!server) throw utils::InputException(__FILE_NAME__, __LINE__, "Server not found");
  if (discovery::DiscoveryMap::snapshot()->contains(strServerIP)) {
    throw utils::InputException(__FILE_NAME__, __LINE__, "Server already discovered");
  }
  json::Object details;
  details[Keys::VALUE] = server->second;
  inventory.addHost(strServerIP, details, true);
  tellOfHand(strServerIP, Sighting::Outcome::kSeen, "");
  setSuccess(response);
  return http::HTTPCommand::HTTP_OK;
}

Status removeServer(discovery::ServerDiscovery& inventory, const json::Object& request, json::Object& response) {
  const std::string id = idAfterServers(serverParameter(request));
  if (id.empty() || !removeById(inventory, id)) {
    setFailure(response);
    return http::HTTPCommand::HTTP_BAD_REQUEST;
  }
  setSuccess(response);
  return http::HTTPCommand::HTTP_OK;
}

}  // namespace plugins
