#pragma once

#include <cstdint>

namespace slp::agent {

/// The transaction numbers of one sender's requests (RFC 2608, section 8): one after another, without 0, by which
/// adverts say that nobody asked for them.
class TransactionNumbers {
 public:
  explicit TransactionNumbers(std::uint32_t seed = 0) : mLast(static_cast<std::uint16_t>(seed)) {}

  std::uint16_t next() {
    if (++mLast == 0) ++mLast;
    return mLast;
  }

 private:
  std::uint16_t mLast;
};

}  // namespace slp::agent
