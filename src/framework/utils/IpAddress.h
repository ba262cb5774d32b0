#pragma once

#include <string_view>

namespace utils {

/// "192.0.2.10": four decimal numbers without leading zeros, and nothing else.
bool isIPv4Text(std::string_view text);
/// "2001:db8::1", "fe80::1%eth0": without brackets, with a zone or without.
bool isIPv6Text(std::string_view text);

}  // namespace utils
