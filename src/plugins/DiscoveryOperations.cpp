// GET and POST "/1.0/servers/{server_id}/operations/discovery"

#include <string>

#include "discovery/ServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/http/UriTemplate.h"
#include "framework/utils/Exceptions.h"
#include "framework/utils/Log.h"
#include "json/lookup.h"
#include "plugins/DiscoveryActions.h"
#include "plugins/Resources.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;
using Status = ServerDiscoveryPlugin::Status;

json::Object link(const std::string& uri, const char* type) {
  json::Object target;
  target[Keys::URI] = json::String(uri);
  target[Keys::TYPE] = json::String(type);
  return target;
}

json::Object operationProperties() {
  json::Array actions;
  json::Array isAllowed;
  json::Array isRebootRequired;
  for (const char* const action : {Keys::ACTION_ADD, Keys::ACTION_REMOVE, Keys::ACTION_SEARCH}) {
    actions.Insert(json::String(action));
    isAllowed.Insert(json::Boolean(true));
    isRebootRequired.Insert(json::Boolean(false));
  }
  json::Object properties;
  properties[Keys::TYPE] = json::String(Keys::TYPE_DISCOVERY);
  properties[Keys::SUB_TYPE] = json::String(Keys::NONE);
  properties[Keys::STATE] = json::String(Keys::NONE);
  properties[Keys::ACTION] = actions;
  properties[Keys::IS_ALLOWED] = isAllowed;
  properties[Keys::IS_REBOOT_REQUIRED] = isRebootRequired;
  properties[Keys::IS_PROGRESS_AVAILABLE] = json::Boolean(false);
  return properties;
}

Status perform(const ServerDiscoveryPlugin& plugin, const std::string& requestUri, const json::Object& request,
               json::Object& response) {
  const std::string action = json::textAt(request, {Keys::ACTION});
  discovery::ServerDiscovery& inventory = *discovery::ServerDiscovery::getInstance();
  if (action == Keys::ACTION_SEARCH) return searchServer(plugin, inventory, requestUri, request, response);
  if (action == Keys::ACTION_ADD) return addServer(inventory, request, response);
  if (action == Keys::ACTION_REMOVE) return removeServer(inventory, request, response);
  setSchemaValidationError(response);
  return http::HTTPCommand::HTTP_BAD_REQUEST;
}

/// Reports what an action threw in the response; `exception` knows code and message.
template <typename Exception>
void report(const Exception& exception, json::Object& response) {
  utils::formatted_log_t(utils::LOG_ERROR, "ServerDiscoveryPl:postManualDiscoverySearch:exception caught:%1%") %
      exception.what();
  setStatus(response, exception.getErrorStatusCode(), exception.getErrorStatusMessage());
}

}  // namespace

Status ServerDiscoveryPlugin::manualDiscovery(const Parameters& parameters, const json::Object&,
                                              json::Object& response) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::manualDiscovery");
  const auto serverId = parameters.find("{server_id}");
  if (serverId == parameters.end() || serverId->second.empty()) {
    setSchemaValidationError(response);
    return http::HTTPCommand::HTTP_BAD_REQUEST;
  }
  const std::string server = resourceUri({Keys::SERVERS, http::percentEncode(serverId->second)});
  json::Object description;
  description[Keys::SELF] = link(getHTTPCommand()->getRequestVariable("REQUEST_URI"), Keys::TYPE_OPERATION);
  description[Keys::UPON] = link(server, Keys::TYPE_SERVER);
  description[Keys::PROPERTIES] = operationProperties();
  response[Keys::VALUE] = description;
  setSuccess(response);
  return http::HTTPCommand::HTTP_OK;
}

Status ServerDiscoveryPlugin::postManualDiscoverySearch(const Parameters&, const json::Object& request,
                                                        json::Object& response) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::postManualDiscoverySearch");
  try {
    return perform(*this, getHTTPCommand()->getRequestVariable("REQUEST_URI"), request, response);
  } catch (const utils::InputException& exception) {
    report(exception, response);
    return http::HTTPCommand::HTTP_BAD_REQUEST;
  } catch (const utils::PluginException& exception) {
    report(exception, response);
    return http::HTTPCommand::HTTP_INTERNAL_SERVER_ERROR;
  }
}

}  // namespace plugins
