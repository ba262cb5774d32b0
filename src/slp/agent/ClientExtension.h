#pragma once

#include <cstdint>

namespace slp::agent {

/// The private extension (RFC 2608, section 9.1) by which a client of this library says that a registration is to end
/// with its connection. It has no data. Other clients close their connections right after registering, and mean their
/// registrations to stay.
inline constexpr std::uint16_t kEndsWithConnection = 0x8427;

}  // namespace slp::agent
