#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "slp/wire/Message.h"

namespace slp::wire {

/// Why bytes are no message, and what an answer to them would need.
struct Rejected {
  ErrorCode error = ErrorCode::kParseError;
  /// None when not even the header could be read (too short, another version of the protocol), so that no answer can be
  /// made that its sender would understand.
  std::optional<Header> header;
  Function function{};  ///< only with a header; of kMessageNotSupported any number that is none of ours
};

/// Reads one message, which must fill `bytes`; bytes after the header's length are a fault, too. A reply with an error
/// code may end right behind it. An extension that may not be passed over is kOptionNotUnderstood, since we know none.
/// The strings of the message are views of `bytes`. Never throws but for lack of memory.
std::variant<Message, Rejected> decode(std::span<const std::byte> bytes);

/// Appends the message to `out`. False, and `out` as it was, when a field does not fit its length or the message the
/// length of its header, and when something is beyond the limits that decode keeps.
bool encode(const Message& message, std::string& out);
/// The same without extensions, and without putting a Message together.
bool encode(const Header& header, const Body& body, std::string& out);

/// What the message says of its own length, once its first five bytes are there; nothing before. 0 when the version
/// is not ours, or the length shorter than a header.
std::optional<std::size_t> messageLength(std::span<const std::byte> bytes);

std::span<const std::byte> bytesOf(std::string_view text);

}  // namespace slp::wire
