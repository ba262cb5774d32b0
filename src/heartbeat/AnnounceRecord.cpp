#include "heartbeat/AnnounceRecord.h"

#include <algorithm>

namespace heartbeat {
namespace {

// Where the fields are: kind, address, URL, attributes, a zero byte, lifetime, two bytes of padding.
constexpr std::size_t kKindOffset = 0;
constexpr std::size_t kAddressOffset = 4;
constexpr std::size_t kMaxAddress = 15;
constexpr std::size_t kUrlOffset = 36;
constexpr std::size_t kMaxUrl = 64;
constexpr std::size_t kAttributesOffset = 100;
constexpr std::size_t kLifetimeOffset = 1636;

void putText(AnnounceBytes& bytes, std::size_t offset, std::string_view text, std::size_t limit) {
  std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(text.size(), limit)),
                 bytes.begin() + static_cast<std::ptrdiff_t>(offset), [](char c) { return static_cast<std::byte>(c); });
}

std::string_view textAt(std::span<const std::byte, kAnnounceRecordSize> bytes, std::size_t offset) {
  const std::string_view rest(reinterpret_cast<const char*>(bytes.data()) + offset, bytes.size() - offset);
  return rest.substr(0, rest.find('\0'));
}

template <typename Number>
void putNumber(AnnounceBytes& bytes, std::size_t offset, Number number) {
  for (std::size_t i = 0; i < sizeof(Number); ++i)
    bytes[offset + i] = static_cast<std::byte>(number >> (8 * i));
}

template <typename Number>
Number numberAt(std::span<const std::byte, kAnnounceRecordSize> bytes, std::size_t offset) {
  Number number = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i)
    number = static_cast<Number>(number | std::to_integer<Number>(bytes[offset + i]) << (8 * i));
  return number;
}

}  // namespace

AnnounceBytes encodeAnnounceRecord(const AnnounceRecord& record) {
  AnnounceBytes bytes{};
  putNumber(bytes, kKindOffset, static_cast<std::uint32_t>(record.kind));
  putText(bytes, kAddressOffset, record.address, kMaxAddress);
  putText(bytes, kUrlOffset, record.url, kMaxUrl);
  putText(bytes, kAttributesOffset, record.attributes, kMaxAnnounceAttributes);
  putNumber(bytes, kLifetimeOffset, record.lifetime);
  return bytes;
}

AnnounceRecord decodeAnnounceRecord(std::span<const std::byte, kAnnounceRecordSize> bytes) {
  AnnounceRecord record;
  record.kind = static_cast<std::int32_t>(numberAt<std::uint32_t>(bytes, kKindOffset));
  record.address = textAt(bytes, kAddressOffset);
  record.url = textAt(bytes, kUrlOffset);
  record.attributes = textAt(bytes, kAttributesOffset);
  record.lifetime = numberAt<std::uint16_t>(bytes, kLifetimeOffset);
  return record;
}

}  // namespace heartbeat
