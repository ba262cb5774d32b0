#include "slp/net/Address.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>

#include "slp/net/SocketAddress.h"

namespace slp::net {
namespace {

/// The index of a zone that stands as a number or as the name of an interface; 0 for none such.
std::uint32_t zoneIndex(std::string_view text) {
  std::uint32_t index = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
  if (error == std::errc() && end == text.data() + text.size()) return index;
  if (text.empty() || text.size() >= IF_NAMESIZE || text.find('\0') != std::string_view::npos) return 0;
  return if_nametoindex(std::string(text).c_str());
}

}  // namespace

std::optional<Address> Address::parse(std::string_view text) {
  const auto percent = text.find('%');
  const std::string number(text.substr(0, percent));
  if (number.size() >= INET6_ADDRSTRLEN || number.find('\0') != std::string::npos) return std::nullopt;
  in_addr v4{};
  if (inet_pton(AF_INET, number.c_str(), &v4) == 1)
    return percent == std::string_view::npos ? std::optional(addressV4(&v4)) : std::nullopt;
  in6_addr v6{};
  if (inet_pton(AF_INET6, number.c_str(), &v6) != 1) return std::nullopt;
  std::uint32_t zone = 0;
  if (percent != std::string_view::npos) {
    zone = zoneIndex(text.substr(percent + 1));
    if (zone == 0) return std::nullopt;
  }
  return addressV6(&v6, zone);
}

std::optional<Address> Address::parseForeign(std::string_view text) {
  return parse(text.substr(0, text.find('%')));
}

Address Address::v4(const std::array<std::uint8_t, 4>& bytes) {
  Address address;
  std::copy(bytes.begin(), bytes.end(), address.bytes.begin());
  return address;
}

Address Address::v6(const std::array<std::uint8_t, 16>& bytes, std::uint32_t zone) {
  return {Family::kV6, bytes, zone};
}

Address Address::loopback(Family family) {
  return family == Family::kV4 ? v4({127, 0, 0, 1}) : v6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
}

std::string Address::text() const {
  std::array<char, INET6_ADDRSTRLEN> buffer{};
  inet_ntop(domainOf(family), bytes.data(), buffer.data(), buffer.size());
  return buffer.data();
}

bool Address::isLoopback() const {
  if (family == Family::kV4) return bytes[0] == 127;
  return bytes == loopback(Family::kV6).bytes;
}

bool Address::isLinkLocal() const {
  if (family == Family::kV4) return bytes[0] == 169 && bytes[1] == 254;
  return bytes[0] == 0xFE && (bytes[1] & 0xC0U) == 0x80;
}

bool Address::isMulticast() const {
  return family == Family::kV4 ? (bytes[0] & 0xF0U) == 0xE0 : bytes[0] == 0xFF;
}

std::string Endpoint::text() const {
  if (address.family == Family::kV4) return address.text() + ":" + std::to_string(port);
  const std::string zone = address.zone == 0 ? "" : "%" + std::to_string(address.zone);
  return "[" + address.text() + zone + "]:" + std::to_string(port);
}

bool sameNetwork(const Address& left, const Address& right, unsigned prefix) {
  if (left.family != right.family) return false;
  prefix = std::min(prefix, left.family == Family::kV4 ? 32U : 128U);
  const std::size_t whole = prefix / 8;
  if (std::memcmp(left.bytes.data(), right.bytes.data(), whole) != 0) return false;
  const unsigned rest = prefix % 8;
  return rest == 0 || ((left.bytes[whole] ^ right.bytes[whole]) >> (8 - rest)) == 0;
}

std::size_t AddressHash::operator()(const Address& address) const noexcept {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  std::memcpy(&high, address.bytes.data(), sizeof(high));
  std::memcpy(&low, address.bytes.data() + sizeof(high), sizeof(low));
  // Multiplying by a large odd number spreads neighbouring addresses over the buckets.
  constexpr std::uint64_t kSpread = 0x9E37'79B9'7F4A'7C15;
  std::uint64_t hash = (high ^ address.zone) * kSpread;
  hash = (hash ^ (hash >> 29U) ^ low) * kSpread;
  return static_cast<std::size_t>(hash ^ (hash >> 32U));
}

}  // namespace slp::net
