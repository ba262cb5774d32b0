#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "slp/wire/Message.h"

namespace slp::agent {

/// Writes a SrvRply entry by entry into a buffer that is used again and again, so that a search needs no memory of its
/// own. Whole entries only (RFC 2608, section 8.2); the message is complete after each of them.
class ServiceReplyWriter {
 public:
  ServiceReplyWriter(const wire::Header& header, std::size_t limit, std::string& out);

  /// False when there is no room for it; the reply has the OVERFLOW flag then.
  bool add(std::string_view url, std::uint16_t lifetime);
  bool empty() const { return mCount == 0 && !mOverflow; }
  bool fits() const { return mWritten && mOut.size() <= mLimit; }

 private:
  void putNumber(std::size_t position, std::size_t width, std::size_t value);

  std::size_t mLimit;
  std::string& mOut;
  std::size_t mCountPosition;
  std::size_t mCount = 0;
  bool mOverflow = false;
  bool mWritten = false;
};

/// The header of the answer to a request: the same language and transaction (RFC 2608, section 8).
wire::Header replyTo(const wire::Header& request);

/// Encodes a reply. False, and `out` empty, when it would be longer than `limit` or cannot be encoded.
bool write(const wire::Header& header, const wire::Body& body, std::size_t limit, std::string& out);

}  // namespace slp::agent
