#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/http/Messages.h"

namespace launcher {
class PluginManager;
}
namespace plugins {
class BasePluginProxy;
}

namespace host {

class Observatory;
class Routes;

/// GET /1.0/sightings and GET /1.0/status, which may be long and so are resources of the manager: registered from
/// construction to destruction.
class ObserveResources {
 public:
  /// The manager must outlive it.
  ObserveResources(launcher::PluginManager& manager, std::shared_ptr<const Observatory> observatory);
  ~ObserveResources();
  ObserveResources(const ObserveResources&) = delete;
  ObserveResources& operator=(const ObserveResources&) = delete;

 private:
  launcher::PluginManager& mManager;
  std::vector<plugins::BasePluginProxy*> mProxies;  ///< the manager's
};

/// GET /metrics and GET /readyz.
void addObserveRoutes(Routes& routes, const std::shared_ptr<const Observatory>& observatory);

}  // namespace host
