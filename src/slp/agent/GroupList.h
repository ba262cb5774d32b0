#pragma once

#include <set>
#include <string>
#include <vector>

#include "slp/net/Interfaces.h"
#include "slp/net/Memberships.h"

namespace slp::agent {

/// The groups in which an agent with services of these types has to be (RFC 2608, section 6.1; RFC 3111, section
/// 4.2.1), on each of the interfaces: the IPv6 ones of services are hashed from the text that a searcher asks for, so
/// that a type is in those of its own spelling, of small letters, and of its abstract type. At most
/// limits::kMaxMemberships: the widest scopes of the last types go first.
std::set<net::Membership> groupsFor(const std::vector<net::Interface>& interfaces,
                                    const std::vector<std::string>& types, bool useIpv4, bool useIpv6);

}  // namespace slp::agent
