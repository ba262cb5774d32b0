#pragma once

#include <cstddef>

#include "slp/wire/Cursor.h"
#include "slp/wire/Limits.h"

namespace slp::wire {

/// Walks over authentication blocks (RFC 2608, section 9.2), whose own lengths must hold what they contain.
inline void skipAuthBlocks(Reader& reader, std::size_t count) {
  constexpr std::size_t kFixedPart = 10;  // descriptor, length, time stamp, length of the SPI
  if (count > limits::kMaxAuthBlocks) reader.fail();
  for (std::size_t index = 0; index < count && !reader.failed(); ++index) {
    reader.u16();
    const std::size_t length = reader.u16();
    reader.u32();
    const std::size_t spi = reader.u16();
    if (length < kFixedPart + spi) reader.fail();
    reader.bytes(length - kFixedPart);
  }
}

}  // namespace slp::wire
