#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "slp/wire/Limits.h"

/// Numbers in network byte order and strings with their length before them, over bytes. Errors stick: whatever follows
/// the first one does nothing, and the caller asks once, at the end.
namespace slp::wire {

/// A length field of three bytes holds no more: messages, and offsets inside them.
inline constexpr std::size_t kMaxMessageLength = 0xFF'FFFF;

/// Reads from bytes that somebody else owns; what it returns are views of them. After an error numbers are 0 and
/// strings empty.
class Reader {
 public:
  explicit Reader(std::span<const std::byte> bytes) : mBytes(bytes) {}

  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u24() { return number(3); }
  std::uint32_t u32() { return number(4); }
  std::string_view bytes(std::size_t count);
  std::string_view text() { return bytes(u16()); }

  void fail() { mFailed = true; }
  bool failed() const { return mFailed; }
  std::size_t position() const { return mPosition; }
  std::size_t remaining() const { return mBytes.size() - mPosition; }
  /// The bytes from an earlier position to this one; nothing after an error.
  std::string_view since(std::size_t start) const;

 private:
  bool take(std::size_t count);
  std::uint32_t number(std::size_t width);

  std::span<const std::byte> mBytes;
  std::size_t mPosition = 0;
  bool mFailed = false;
};

/// Appends one message to a string that somebody else owns. A string longer than its length field, or a message longer
/// than that of the header, is an error; the message may then be there in part.
class Writer {
 public:
  explicit Writer(std::string& out) : mOut(out), mStart(out.size()) {}

  void u8(std::uint8_t value) { number(value, 1); }
  void u16(std::uint16_t value) { number(value, 2); }
  void u24(std::uint32_t value) { number(value, 3); }
  void u32(std::uint32_t value) { number(value, 4); }
  void bytes(std::string_view value);
  void text(std::string_view value);
  /// Puts a number over the three bytes at `position`, which must have been written.
  void overwriteU24(std::size_t position, std::uint32_t value);

  void fail() { mFailed = true; }
  bool failed() const { return mFailed; }
  /// From the beginning of the message.
  std::size_t position() const { return mOut.size() - mStart; }
  /// Takes back all that was written.
  void undo() { mOut.resize(mStart); }

 private:
  void number(std::uint32_t value, std::size_t width);

  std::string& mOut;
  std::size_t mStart;
  bool mFailed = false;
};

inline bool Reader::take(std::size_t count) {
  if (mFailed || count > remaining()) {
    mFailed = true;
    return false;
  }
  mPosition += count;
  return true;
}

inline std::uint32_t Reader::number(std::size_t width) {
  if (!take(width)) return 0;
  std::uint32_t value = 0;
  for (const std::byte byte : mBytes.subspan(mPosition - width, width))
    value = value << 8U | std::to_integer<std::uint32_t>(byte);
  return value;
}

inline std::string_view Reader::bytes(std::size_t count) {
  return take(count) ? since(mPosition - count) : std::string_view{};
}

inline std::string_view Reader::since(std::size_t start) const {
  if (mFailed || start >= mPosition) return {};
  return {reinterpret_cast<const char*>(mBytes.data()) + start, mPosition - start};
}

inline void Writer::bytes(std::string_view value) {
  if (mFailed || value.size() > kMaxMessageLength - position())
    mFailed = true;
  else
    mOut.append(value);
}

inline void Writer::text(std::string_view value) {
  if (value.size() > limits::kMaxText) fail();
  u16(static_cast<std::uint16_t>(value.size()));
  bytes(value);
}

inline void Writer::number(std::uint32_t value, std::size_t width) {
  char digits[4];
  for (std::size_t index = 0; index < width; ++index)
    digits[index] = static_cast<char>(value >> (8U * (width - 1 - index)) & 0xFFU);
  bytes({digits, width});
}

inline void Writer::overwriteU24(std::size_t position, std::uint32_t value) {
  for (std::size_t index = 0; index < 3; ++index)
    mOut[mStart + position + index] = static_cast<char>(value >> (8U * (2 - index)) & 0xFFU);
}

}  // namespace slp::wire
