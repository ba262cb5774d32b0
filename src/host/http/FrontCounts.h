#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

/// What the front has to do, and had to turn away.
struct FrontCounts {
  std::size_t connections = 0;         ///< open now
  std::size_t streams = 0;             ///< of them with an answer that goes on
  std::uint64_t evicted = 0;           ///< connections that gave way to newer ones
  std::uint64_t refused = 0;           ///< connections too many
  std::uint64_t failedHandshakes = 0;  ///< of TLS, those included that were none
  std::uint64_t refusedRequests = 0;   ///< that reached no service, or waited for it too long
};

}  // namespace host
