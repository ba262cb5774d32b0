#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace heartbeat {

/// Where servers announce themselves: the multicast group of SLP, on a UDP port of our own.
inline constexpr const char* kAnnounceGroup = "239.255.255.253";
inline constexpr std::uint16_t kAnnouncePort = 1847;

/// Bytes of an announce record on the wire, always all of them.
inline constexpr std::size_t kAnnounceRecordSize = 1640;
using AnnounceBytes = std::array<std::byte, kAnnounceRecordSize>;
/// Bytes of attributes that a record holds; the rest is cut.
inline constexpr std::size_t kMaxAnnounceAttributes = 1535;

/// What one server tells the others. Its texts stay their owner's: a record that was decoded is good for as long as the
/// bytes that it came from.
struct AnnounceRecord {
  /// Other values occur in records of strangers.
  enum Kind : std::int32_t { kJoin = -1, kRegister = 0, kDeregister = 1 };

  std::int32_t kind = kJoin;
  std::string_view address;
  std::string_view url;
  std::string_view attributes;  ///< as they travel: with "!" for each double quote
  std::uint16_t lifetime = 0;   ///< seconds
};

/// Little-endian on every machine. A text that is too long for its field is cut: the address at 15 bytes, the URL at 64
/// (and then has no zero byte behind it), the attributes at 1,535.
AnnounceBytes encodeAnnounceRecord(const AnnounceRecord& record);

/// Every sequence of bytes is a record: a text ends at its first zero byte or, when its field holds none, further on,
/// at the end of the bytes at last.
AnnounceRecord decodeAnnounceRecord(std::span<const std::byte, kAnnounceRecordSize> bytes);

}  // namespace heartbeat
