#pragma once

namespace support {

/// Whether the tests of this program run in a network of their own, which they do from their beginning when it links
/// `own_network` and the machine allows it. There is a loopback interface in it, which can multicast, and nothing else,
/// so that nothing that real libraries send leaves the machine.
bool hasOwnNetwork();

}  // namespace support
