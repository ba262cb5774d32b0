#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "slp/wire/Message.h"

namespace slp::agent {

/// The private extension (RFC 2608, section 9.1) by which a client of this library says that a registration is to end
/// with its connection. It has no data. Other clients close their connections right after registering, and mean their
/// registrations to stay.
inline constexpr std::uint16_t kEndsWithConnection = 0x8427;

inline bool endsWithConnection(std::span<const wire::Extension> extensions) {
  return std::any_of(extensions.begin(), extensions.end(),
                     [](const wire::Extension& extension) { return extension.id == kEndsWithConnection; });
}

}  // namespace slp::agent
