#pragma once

#include <cstdint>
#include <string>

namespace host {

/// Where this server listens.
struct Endpoint {
  std::string address;  ///< "::" or "0.0.0.0" for every address
  std::uint16_t port = 0;
  std::string scheme = "http";

  friend bool operator==(const Endpoint&, const Endpoint&) = default;
};

}  // namespace host
