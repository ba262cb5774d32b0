#include "discovery/ProvisionalRecord.h"

#include "framework/constants/JsonConstants.h"
#include "framework/http/UriTemplate.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"

namespace discovery {
namespace {

using Keys = constants::JsonConstants;

constexpr double kAgentId = 31;
constexpr const char* kAgentName = "KVT Server";

void addLinks(json::UnknownElement& record, const std::string& segment) {
  const std::string base = launcher::Preferences::get_instance()->get_uri_prefix() + "/" + Keys::API_VERSION_1 + "/";
  const std::string server = base + Keys::SERVERS + "/" + segment;

  record[Keys::SELF][Keys::URI] = json::String(server);
  record[Keys::SELF][Keys::TYPE] = json::String("SYSTEM");

  json::UnknownElement& links = record[Keys::URIS];
  links[Keys::SYSTEM_DETAIL] = json::String(base + Keys::SERVER_DETAIL + "/" + segment);
  for (const char* const link : {Keys::LOGIN, Keys::VERSION, Keys::VERSIONS, Keys::USERS})
    links[link] = json::String(server + "/" + link);
}

}  // namespace

void formProvisionalRecord(json::Object& out, std::string address) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::formDummyServerJson");
  utils::StringHelper::to_lower(address);

  out[Keys::STATUS][Keys::CODE] = json::Number(0);
  out[Keys::STATUS][Keys::DESC] = json::String(Keys::SUCCESS);

  json::UnknownElement& record = out[Keys::VALUE];
  addLinks(record, http::percentEncode(address));
  json::UnknownElement& properties = record[Keys::PROPERTIES];
  properties[Keys::DISPLAY_ID] = json::String(address);
  properties[Keys::IS_PIVOT] = json::Boolean(false);
  properties[Keys::AGENTS][Keys::ID] = json::Number(kAgentId);
  properties[Keys::AGENTS][Keys::NAME] = json::String(kAgentName);
}

}  // namespace discovery
