#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/http/Service.h"

namespace host {

/// What the host answers itself, beside the resources of the plug-in manager: single paths, each verb with a handler.
/// Everything else goes to the next service. Filled before the front starts, and only read from then on.
class Routes : public Service {
 public:
  /// Like `Service::serve`: called by the front's thread, must not block.
  using Handler = std::function<void(ClientRequest, Done)>;

  /// `next` must outlive it. `uriPrefix` is what paths may begin with, "" for nothing.
  Routes(std::string uriPrefix, Service& next);

  /// A handler of GET serves HEAD, too. The last segment of a path may be a parameter ("/1.0/tokens/{name}"): what
  /// stands there, unless it is empty, becomes the request's `pathParameter`. A path without one goes first.
  void add(const std::string& method, const std::string& path, Handler handler);

  void serve(ClientRequest request, Done done) override;

  /// Method and path of every handler.
  std::vector<std::pair<std::string, std::string>> all() const;

 private:
  using Handlers = std::map<std::string, Handler>;  ///< by method

  const Handlers* find(const std::string& path, std::string& parameter) const;

  const std::string mUriPrefix;
  Service& mNext;
  std::map<std::string, Handlers> mHandlers;  ///< by path
};

}  // namespace host
