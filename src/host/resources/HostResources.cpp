#include "host/resources/HostResources.h"

#include <charconv>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>

#include "framework/constants/JsonConstants.h"
#include "framework/http/Command.h"
#include "framework/http/StatusBlock.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/StringHelper.h"
#include "framework/utils/System.h"
#include "host/Version.h"
#include "host/net/Address.h"
#include "host/resources/RemoteServerCall.h"
#include "host/resources/ResourceProxy.h"
#include "host/resources/SearchServer.h"
#include "host/resources/ServerRecord.h"

namespace host {
namespace {

using constants::JsonConstants;
using http::HTTPCommand;
using http::RestApi;

constexpr const char* kDetailsTemplate = "/1.0/servers/{server_id}";
constexpr const char* kHealthTemplate = "/healthz";
constexpr const char* kRemoteCallTemplate = "/1.0/remoteservercall";
constexpr const char* kSearchTemplate = "/1.0/searchserver_";
constexpr const char* kOsReleaseFile = "/etc/os-release";
constexpr const char* kContactedCookie = "lastCommunicatedNIC";
constexpr const char* kSelf = "self";

OsRelease readOsRelease() {
  std::ifstream file(kOsReleaseFile);
  return parseOsRelease(std::string(std::istreambuf_iterator<char>(file), {}));
}

std::uint16_t ownPort(const launcher::Preferences& preferences) {
  const std::string text = preferences.get_listening_port();
  std::uint16_t port = 0;
  std::from_chars(text.data(), text.data() + text.size(), port);
  return port;
}

bool isThisServer(const std::string& asked, const std::string& id) {
  return utils::StringHelper::compare_ignore_case(asked, kSelf) || utils::StringHelper::compare_ignore_case(asked, id);
}

/// Serves the details of this server.
class Details {
 public:
  explicit Details(std::vector<Endpoint> endpoints) : mOs(readOsRelease()), mEndpoints(std::move(endpoints)) {}

  HTTPCommand::HTTPStatus_ get(HTTPCommand& command, const std::string& asked, json::Object& response) const {
    utils::System* system = utils::System::get_instance();
    const std::string id = system->getLocalServerId();
    if (asked.empty() || !isThisServer(asked, id)) {
      response = http::statusBlock(HTTPCommand::HTTP_NOT_FOUND, "There is no server of that identifier here");
      return HTTPCommand::HTTP_NOT_FOUND;
    }
    json::Object record = makeServerRecord({id, kVersion, mOs, system->getNetworkInterfaces(), mEndpoints});
    const auto contacted = http::cookieValue(command.getRequestVariable("HTTP_COOKIE"), kContactedCookie);
    if (contacted && isIpAddress(*contacted)) setLastCommunicatedIp(record, *contacted);
    response = http::statusBlock(0, JsonConstants::SUCCESS);
    response[JsonConstants::VALUE] = record;
    return HTTPCommand::HTTP_OK;
  }

 private:
  const OsRelease mOs;
  const std::vector<Endpoint> mEndpoints;
};

ResourceProxy::Handler detailsHandler(std::vector<Endpoint> endpoints) {
  const auto details = std::make_shared<const Details>(std::move(endpoints));
  return [details](HTTPCommand& command, const ResourceProxy::Parameters& parameters, const json::Object&,
                   json::Object& response) {
    const auto asked = parameters.find("{server_id}");
    return details->get(command, asked == parameters.end() ? std::string() : asked->second, response);
  };
}

HTTPCommand::HTTPStatus_ health(HTTPCommand&, const ResourceProxy::Parameters&, const json::Object&,
                                json::Object& response) {
  response = http::statusBlock(0, JsonConstants::SUCCESS);
  return HTTPCommand::HTTP_OK;
}

}  // namespace

HostResources::HostResources(launcher::PluginManager& manager, const launcher::Preferences& preferences,
                             std::vector<Endpoint> endpoints, AskPeer ask)
    : mManager(manager) {
  const std::string scheme = endpoints.empty() ? Endpoint().scheme : endpoints.front().scheme;
  const auto own = [&preferences, scheme] { return Endpoint{"", ownPort(preferences), scheme}; };
  const auto add = [this](const RestApi& api, bool inProcess, ResourceProxy::Handler handler) {
    auto proxy = std::make_unique<ResourceProxy>(&mManager, api, std::move(handler));
    const bool added =
        inProcess ? mManager.registerInProcess(api, proxy.get()) : mManager.registerPluginProxys(api, proxy.get());
    if (!added) throw std::logic_error("the resource " + api.to_string() + " exists already");
    mProxies.push_back(proxy.release());
  };
  add(RestApi(RestApi::GET, kDetailsTemplate, false), false, detailsHandler(std::move(endpoints)));
  add(RestApi(RestApi::GET, kHealthTemplate, false), false, health);
  add(RestApi(RestApi::GET, kRemoteCallTemplate, true), true,
      [own, ask](HTTPCommand&, const auto&, const json::Object& request, json::Object& response) {
        return callRemoteServer(request, response, own(), ask);
      });
  add(RestApi(RestApi::POST, kSearchTemplate, false), true,
      [own, ask](HTTPCommand&, const auto&, const json::Object& request, json::Object& response) {
        return searchServer(request, response, own(), ask);
      });
}

HostResources::~HostResources() {
  mManager.unregister(mProxies);
}

std::vector<std::string> HostResources::promptTemplates() {
  return {kDetailsTemplate, kHealthTemplate};
}

}  // namespace host
