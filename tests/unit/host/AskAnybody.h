#pragma once

#include "host/resources/Peer.h"

namespace host_test {

/// Asks whatever it is told to, the loopback address included.
inline host::PeerAnswer askAnybody(const host::PeerTarget& target, std::chrono::milliseconds limit) {
  return host::askPeer(target, limit, {});
}

}  // namespace host_test
