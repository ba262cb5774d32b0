#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace slp::wire {

/// A URL of the service: scheme or another, taken apart (RFC 2609, section 2; IPv6 hosts as RFC 3111, section 3, and
/// bare, as registrations of management servers carry them).
struct ServiceUrl {
  std::string type;    ///< "service:" included; the scheme of other URLs; may be empty
  std::string host;    ///< an IPv6 address without brackets
  int port = 0;        ///< 0: none
  std::string family;  ///< "" for IP; "at" or "ipx" for other addresses
  std::string rest;    ///< what follows host and port
};

/// "://10.77.0.1:8443" has an empty type. In "://2001:db8::5:8443", which has no brackets, what follows the last colon
/// is the port when the text before it is an IPv6 address and it is itself a decimal number; "://2001:db8::5" is a host
/// alone. A user before the host is passed over, and the host may be empty. Nothing for what is no URL: no "://" (or
/// ":/" and another address family), a port that is no number of 0 to 65535, brackets or several colons around what is
/// no IPv6 address, control characters.
std::optional<ServiceUrl> parseServiceUrl(std::string_view text);

}  // namespace slp::wire
