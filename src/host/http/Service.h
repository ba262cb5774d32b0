#pragma once

#include <functional>

#include "host/http/Messages.h"

namespace host {

/// What answers the requests that the HTTP front takes in.
class Service {
 public:
  /// Takes the answer, from any thread, at most once.
  using Done = std::function<void(Answer)>;

  virtual ~Service() = default;

  /// Called by the front's thread, so it must not block: it hands the work on and returns. `done` may be called before
  /// it returns. A request that is never answered ends with the front's request deadline.
  virtual void serve(ClientRequest request, Done done) = 0;
};

}  // namespace host
