#pragma once

#include "slp/include/slp.h"
#include "slp/wire/Message.h"

namespace slp::client {

/// The error code of a reply or advert; kOk of messages that have none.
wire::ErrorCode errorOf(const wire::Body& body);
/// What the API calls an error of a peer.
SLPError errorFor(wire::ErrorCode code);

}  // namespace slp::client
