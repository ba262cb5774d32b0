#include "discovery/ServerDetails.h"

#include <memory>
#include <utility>

#include "framework/constants/JsonConstants.h"
#include "framework/http/RestApi.h"
#include "framework/http/UriTemplate.h"
#include "framework/launcher/PluginManager.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "json/lookup.h"

namespace discovery {
namespace {

using http::HTTPCommand;
using Keys = constants::JsonConstants;
using CommandPtr = std::unique_ptr<HTTPCommand>;

CommandPtr dummyCommand(launcher::PluginManager& manager, const std::string& uri) {
  CommandPtr dummy(manager.getDummyHTTPCommand());
  if (dummy) dummy->setURI(uri);
  return dummy;
}

/// The local server's answer; 400 when it could not be asked.
struct Answer {
  HTTPCommand::HTTPStatus_ status = HTTPCommand::HTTP_BAD_REQUEST;
  json::Object record;
};

Answer askLocalServer(const http::RestApi& api, const std::string& cookie) {
  Answer answer;
  launcher::PluginManager* const manager = launcher::PluginManager::get_instance();
  if (manager == nullptr) return answer;
  const CommandPtr dummy = dummyCommand(*manager, api.uri());
  if (dummy) dummy->getRequestVariable("HTTP_COOKIE");  // the host expects the look; what it finds is of no use here
  const CommandPtr command(dummy ? dummy->createCommand(&api) : nullptr);
  if (!command) return answer;
  if (!cookie.empty()) command->setCookie(cookie);
  manager->execute(command.get());
  answer.status = command->getHTTPStatus();
  if (const json::Object* const record = json::objectAt(command->getResponseBody(), {Keys::VALUE})) {
    answer.record = *record;
  }
  return answer;
}

void takeAsPivot(json::Object& record, Answer answer) {
  record = std::move(answer.record);
  record[Keys::PROPERTIES][Keys::IS_PIVOT] = json::Boolean(true);
}

}  // namespace

HTTPCommand::HTTPStatus_ getRemoteServerDetails(std::string serverId, const std::string& ip, json::Object request,
                                                json::Object& response, bool isLegacyServer) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::getRemoteServerDetails");
  utils::formatted_log_t(utils::LOG_INVENTORY, " RemoteServerDiscovery:getRemoteServerDetails:entered with IP:%1%") %
      ip;
  utils::StringHelper::to_lower(serverId);
  json::UnknownElement& properties = request[Keys::PROPERTIES];
  properties[Keys::DISPLAY_ID] = json::String(serverId);
  properties[Keys::SERVER_IP] = json::String(ip);
  properties[Keys::IS_LEGACY_SERVER] = json::Boolean(isLegacyServer);

  launcher::PluginManager* const manager = launcher::PluginManager::get_instance();
  if (manager == nullptr) return HTTPCommand::HTTP_BAD_REQUEST;
  const http::RestApi api(http::RestApi::GET, std::string("/") + Keys::API_VERSION_1 + "/remoteservercall", true);
  const CommandPtr dummy = dummyCommand(*manager, api.uri());
  const CommandPtr command(dummy ? dummy->createCommand(&api, request, response) : nullptr);
  if (!command) return HTTPCommand::HTTP_BAD_REQUEST;
  manager->execute(command.get());
  const HTTPCommand::HTTPStatus_ status = command->getHTTPStatus();
  utils::formatted_log_t(utils::LOG_INVENTORY,
                         "RemoteServerDiscovery::getRemoteServerDetails: IP:%1% and httpStatus is:%2%") %
      ip % status;
  response = json::Object(command->getResponseBody());
  return status;
}

HTTPCommand::HTTPStatus_ getLocalServerDetails(std::string serverId, const std::string& nicIp, json::Object& record) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::getLocalServerDetails");
  utils::StringHelper::to_lower(serverId);
  const http::RestApi api(
      http::RestApi::GET,
      std::string("/") + Keys::API_VERSION_1 + "/" + Keys::SERVERS + "/" + http::percentEncode(serverId), false);
  Answer plain = askLocalServer(api, "");
  utils::formatted_log_t(utils::LOG_INVENTORY,
                         "RemoteServerDiscovery:getLocalServerDetails:httpStatus for Server Details is:%1%") %
      plain.status;
  const HTTPCommand::HTTPStatus_ status = plain.status;
  if (status != HTTPCommand::HTTP_OK) return status;
  takeAsPivot(record, std::move(plain));

  Answer refined = askLocalServer(api, "lastCommunicatedNIC=" + nicIp);
  utils::formatted_log_t(
      utils::LOG_INVENTORY,
      "RemoteServerDiscovery:getLocalServerDetails:httpStatus for Server Details with lastCommunicatedNIC is:%1%") %
      refined.status;
  if (refined.status == HTTPCommand::HTTP_OK) takeAsPivot(record, std::move(refined));
  return status;
}

}  // namespace discovery
