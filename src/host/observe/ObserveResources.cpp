#include "host/observe/ObserveResources.h"

#include <stdexcept>
#include <utility>

#include "framework/constants/JsonConstants.h"
#include "framework/http/StatusBlock.h"
#include "framework/launcher/PluginManager.h"
#include "framework/utils/System.h"
#include "host/http/Routes.h"
#include "host/observe/GroupMembers.h"
#include "host/observe/Observatory.h"
#include "host/observe/SightingView.h"
#include "host/observe/StatusView.h"
#include "host/resources/ResourceProxy.h"
#include "json/writer.h"

namespace host {
namespace {

using constants::JsonConstants;
using http::HTTPCommand;
using http::RestApi;

constexpr const char* kSightingsTemplate = "/1.0/sightings";
constexpr const char* kStatusTemplate = "/1.0/status";
/// The group of the announcements, which is that of SLP, too.
constexpr const char* kGroup = "239.255.255.253";

json::Object sightingsAnswer(const Observatory& observatory) {
  const Sightings::Entries entries = observatory.sightings().all();
  json::Array values;
  for (const auto& entry : entries)
    values.Insert(sightingDocument(*entry));
  json::Object answer = http::statusBlock(0, JsonConstants::SUCCESS);
  answer["count"] = json::Number(static_cast<double>(entries.size()));
  answer["values"] = std::move(values);
  return answer;
}

json::Object statusAnswer(const Observatory& observatory) {
  const auto interfaces = utils::System::get_instance()->getNetworkInterfaces();
  json::Object answer = http::statusBlock(0, JsonConstants::SUCCESS);
  answer[JsonConstants::VALUE] = statusDocument(observatory, interfaces, interfacesJoined(kGroup));
  return answer;
}

Answer readyAnswer() {
  Answer answer;
  json::Writer::Write(http::statusBlock(0, JsonConstants::SUCCESS), answer.body);
  return answer;
}

Answer textAnswer(std::string text) {
  Answer answer;
  answer.body = std::move(text);
  answer.headers.emplace_back("Content-Type", "text/plain; version=0.0.4; charset=utf-8");
  return answer;
}

}  // namespace

ObserveResources::ObserveResources(launcher::PluginManager& manager, std::shared_ptr<const Observatory> observatory)
    : mManager(manager) {
  const auto add = [&](const char* uri, json::Object (*makeAnswer)(const Observatory&)) {
    const RestApi api(RestApi::GET, uri, false);
    auto proxy = std::make_unique<ResourceProxy>(
        &mManager, api,
        [observatory, makeAnswer](HTTPCommand&, const auto&, const json::Object&, json::Object& response) {
          response = makeAnswer(*observatory);
          return HTTPCommand::HTTP_OK;
        });
    if (!mManager.registerPluginProxys(api, proxy.get())) {
      throw std::logic_error("the resource " + api.to_string() + " exists already");
    }
    mProxies.push_back(proxy.release());
  };
  add(kSightingsTemplate, sightingsAnswer);
  add(kStatusTemplate, statusAnswer);
}

ObserveResources::~ObserveResources() {
  mManager.unregister(mProxies);
}

void addObserveRoutes(Routes& routes, const std::shared_ptr<const Observatory>& observatory) {
  routes.add("GET", "/metrics", [observatory](const ClientRequest&, const Service::Done& done) {
    done(textAnswer(observatory->metrics()));
  });
  routes.add("GET", "/readyz", [observatory](const ClientRequest&, const Service::Done& done) {
    if (!observatory->isReady()) return done(failureAnswer(503, "The plug-ins are not started yet, try again"));
    done(readyAnswer());
  });
}

}  // namespace host
