#pragma once

#include <string_view>
#include <vector>

#include "slp/agent/Source.h"

namespace slp::agent {

/// Whether the service at this URL may be told to the sender: one with a literal IPv6 address of a smaller scope than
/// the sender's is out of its reach, and one on another link is, too (RFC 3111, sections 4.2.3 and 4.2.4). Names are
/// not looked up. Programs on this machine are told everything.
bool mayTell(std::string_view url, const Source& source, const std::vector<net::Interface>& interfaces);

}  // namespace slp::agent
