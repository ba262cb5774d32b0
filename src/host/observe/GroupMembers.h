#pragma once

#include <set>
#include <string>
#include <string_view>

namespace host {

/// The names of the interfaces on which a group of IPv4 is joined, from the text of /proc/net/igmp. Lines that do not
/// look as they should are passed over.
std::set<std::string> interfacesJoined(std::string_view igmp, std::string_view group);

/// The same as the kernel says now for the network of this process; empty when it does not say.
std::set<std::string> interfacesJoined(std::string_view group);

}  // namespace host
