#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "slp/agent/Registration.h"

namespace slp::agent {

/// How long peers are told that a registration lives which stays as long as its process: a killed process must not stay
/// listed for the 18 hours that the largest number of the wire would mean.
inline constexpr std::chrono::seconds kWireLifetime{900};

/// The lifetime to tell, and when to tell it again.
struct WireLifetime {
  std::uint16_t seconds = 0;
  std::optional<std::chrono::seconds> refresh;  ///< none: it ends before
  bool operator==(const WireLifetime&) const = default;
};

/// At most `longest` for a registration with an end. `minimumRefresh` is what the peer asks for (RFC 2608, section
/// 8.5, "min-refresh-interval"): it is refreshed no sooner, and told a lifetime that reaches beyond.
WireLifetime wireLifetime(std::uint16_t left, std::chrono::seconds minimumRefresh, std::chrono::seconds longest);
/// Of a directory agent's attributes; 0 when it asks for nothing.
std::chrono::seconds minimumRefreshOf(std::string_view directoryAgentAttributes);

/// SrvReg (RFC 2608, section 8.3), always FRESH. `tied` adds the extension that asks for its end with the connection.
/// Empty when it cannot be encoded.
std::string registrationMessage(const Registration& registration, std::string_view scopes, std::uint16_t lifetime,
                                std::uint16_t xid, bool tied);
/// SrvDeReg (RFC 2608, section 10.6); `tied` as it was registered.
std::string deregistrationMessage(std::string_view url, std::string_view language, std::string_view scopes,
                                  std::uint16_t xid, bool tied);

}  // namespace slp::agent
