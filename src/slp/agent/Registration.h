#pragma once

#include <cstdint>
#include <string>

namespace slp::agent {

/// A service as it was registered; every text is kept byte for byte.
struct Registration {
  std::string url;
  std::string serviceType;
  std::string scopes;
  std::string attributes;
  std::string language = "en";
  std::uint16_t lifetime = 0;  ///< seconds; kLifetimeForever: as long as its owner
  bool operator==(const Registration&) const = default;
};

/// What tells the registrations of one URL apart, and says whom they concern: cheap to list.
struct Variant {
  std::string language;
  std::string scopes;
  bool operator==(const Variant&) const = default;
};

/// RFC 2614, section 4.1.1: SLP_LIFETIME_MAXIMUM.
inline constexpr std::uint16_t kLifetimeForever = 65'535;

/// Who registered: this process, another process by its connection, or whoever sent a message without one. What the
/// owner of a connection registered goes with the connection.
using Owner = std::uint64_t;
inline constexpr Owner kThisProcess = 0;
inline constexpr Owner kNoConnection = 1;
inline constexpr Owner kFirstConnection = 2;

}  // namespace slp::agent
