#include "host/observe/Meter.h"

#include <chrono>
#include <set>
#include <utility>

#include "framework/http/UriTemplate.h"
#include "framework/launcher/PluginManager.h"
#include "host/http/Routes.h"
#include "host/http/Translate.h"
#include "host/observe/Observatory.h"

namespace host {

Meter::Meter(std::shared_ptr<Observatory> observatory, ResourceOf resourceOf, Service& next)
    : mObservatory(std::move(observatory)), mResourceOf(std::move(resourceOf)), mNext(next) {}

void Meter::serve(ClientRequest request, Done done) {
  std::string resource = mResourceOf(request);
  std::string method = request.method;
  const auto began = std::chrono::steady_clock::now();
  mNext.serve(std::move(request), [observatory = mObservatory, resource = std::move(resource),
                                   method = std::move(method), began, done = std::move(done)](Answer answer) {
    observatory->requestServed(resource, method, answer.status, std::chrono::steady_clock::now() - began);
    done(std::move(answer));
  });
}

Meter::ResourceOf resourceNames(const Routes& routes, const launcher::PluginManager& manager, std::string uriPrefix) {
  // Touched by the front's thread only.
  const auto known = std::make_shared<std::set<std::string>>();
  return [&routes, &manager, prefix = std::move(uriPrefix), known](const ClientRequest& request) -> std::string {
    if (known->empty()) {
      for (const auto& [method, path] : routes.all())
        known->insert(path);
    }
    const auto read = readAim(request, prefix);
    const Aim* const aim = std::get_if<Aim>(&read);
    if (aim == nullptr) return "";
    if (known->contains(aim->path)) return aim->path;
    for (const std::string& path : *known) {
      if (path.ends_with('}') && http::matchUriTemplate(path, aim->path)) return path;
    }
    const auto api = aim->knownVerb ? manager.find(aim->verb, aim->path) : nullptr;
    return api ? api->uri() : "";
  };
}

}  // namespace host
