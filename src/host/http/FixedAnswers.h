#pragma once

#include <string>

#include "host/net/Endpoint.h"

namespace host {

/// Answers to clients of whom nothing was read, as they go over the wire. The connection ends with them.

/// To a connection too many.
std::string busyMessage();

/// To somebody who speaks HTTP where TLS is spoken.
std::string httpsMessage(const Endpoint& reachedAt);

}  // namespace host
