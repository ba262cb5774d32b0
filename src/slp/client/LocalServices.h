#pragma once

#include <string>
#include <vector>

#include "slp/client/Queries.h"

namespace slp::client {

/// What this process has registered itself, so that searches find it without a network. Safe for every thread.
class LocalServices {
 public:
  struct Url {
    std::string url;
    std::uint16_t lifetime = 0;
  };

  virtual ~LocalServices() = default;
  virtual std::vector<Url> findServices(const ServiceQuery& query) const = 0;
  /// Of one URL: nothing when it is not ours. Of a type: the merged list of all of ours, nothing when there are none.
  virtual std::optional<std::string> findAttributes(const AttributeQuery& query) const = 0;
  virtual std::vector<std::string> findTypes(const TypeQuery& query) const = 0;
  /// Whether the agent of this process serves the port of this machine: nobody else here needs to be asked then.
  virtual bool holdsPort() const = 0;
};

}  // namespace slp::client
