#pragma once

#include <string>

namespace support {

/// Runs `ip` with these words, in the network of the calling thread; whether it succeeded.
bool ip(const std::string& words);

}  // namespace support
