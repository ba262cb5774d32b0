#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/http/Service.h"

namespace launcher {
class PluginManager;
}

namespace host {

class Observatory;
class Routes;

/// Counts and times what the services behind it answer, refusals included.
class Meter : public Service {
 public:
  /// The template of the resource that a request is for; "" when there is none. Called by the front's thread.
  using ResourceOf = std::function<std::string(const ClientRequest& request)>;

  /// `next` must outlive it.
  Meter(std::shared_ptr<Observatory> observatory, ResourceOf resourceOf, Service& next);

  void serve(ClientRequest request, Done done) override;

 private:
  const std::shared_ptr<Observatory> mObservatory;
  const ResourceOf mResourceOf;
  Service& mNext;
};

/// Knows the templates of the routes, which are complete when the first request comes, and of the manager's resources.
/// Both must outlive it.
Meter::ResourceOf resourceNames(const Routes& routes, const launcher::PluginManager& manager, std::string uriPrefix);

}  // namespace host
