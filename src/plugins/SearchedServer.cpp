// GET "/1.0/searchedserver/{tentative_id}"

#include "discovery/ServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/utils/Exceptions.h"
#include "framework/utils/Log.h"
#include "plugins/Resources.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;

/// The highest result of a look-up that found the server.
constexpr int kLastFound = 1;

}  // namespace

ServerDiscoveryPlugin::Status ServerDiscoveryPlugin::getSearchedServer(const Parameters& parameters,
                                                                       const json::Object&, json::Object& response) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::getSearchedServer");
  const auto tentativeId = parameters.find("{tentative_id}");
  if (tentativeId == parameters.end() || tentativeId->second.empty()) {
    setSchemaValidationError(response);
    return http::HTTPCommand::HTTP_BAD_REQUEST;
  }

  setStatusList(response, 0, Keys::SUCCESS);
  json::Object record;
  const int result = discovery::ServerDiscovery::getInstance()->getSearchHost(tentativeId->second, record);
  response[Keys::VALUE] = record;
  if (result > kLastFound) {
    throw utils::InputException(
        __FILE_NAME__, __LINE__,
        "Element does not contain the expected parameters, so the requested operation cannot be performed");
  }
  return http::HTTPCommand::HTTP_OK;
}

}  // namespace plugins
