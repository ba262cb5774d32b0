#pragma once

#include <string>
#include <string_view>

#include "host/http/Messages.h"
#include "host/net/Address.h"

/// Where a request comes from, as far as that can be believed.
namespace host {

/// What one client can hold: an IPv4 address, also inside IPv6; of IPv6 the first 64 bits ("2001:db8:0:1::/64"), with
/// the zone where they are link-local. A text that is no address stands for itself.
std::string networkOf(std::string_view address);

/// Whether the request was made on this machine: it came over loopback, through no proxy, and was meant for this
/// machine by whoever made it (a page of somewhere else, whose name has been made to lead here, was not).
bool isLocal(const ClientRequest& request);

/// Why a browser's write is none of this server's own pages: it says itself that it comes from another one. "" for a
/// write that may be, and for whatever is no browser's.
std::string foreignOrigin(const ClientRequest& request);

}  // namespace host
