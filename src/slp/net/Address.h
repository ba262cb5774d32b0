#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace slp::net {

enum class Family : std::uint8_t { kV4, kV6 };

/// An IP address as a value; a link-local one of IPv6 with the index of its interface. IPv4 mapped into IPv6 is IPv4.
struct Address {
  Family family = Family::kV4;
  std::array<std::uint8_t, 16> bytes{};  ///< IPv4: the first four
  std::uint32_t zone = 0;                ///< interface of an IPv6 link-local address; 0 for all others

  /// Numeric text; a zone may stand behind "%" as a name or an index. Nothing for what is no address.
  static std::optional<Address> parse(std::string_view text);
  /// The same for a text from the network, where a zone says nothing to this machine: it is left out unread, because
  /// finding an interface by its name costs calls to the kernel.
  static std::optional<Address> parseForeign(std::string_view text);
  /// Of these bytes, as they are.
  static Address v4(const std::array<std::uint8_t, 4>& bytes);
  static Address v6(const std::array<std::uint8_t, 16>& bytes, std::uint32_t zone = 0);
  static Address loopback(Family family);

  /// Without the zone, as a list of previous responders and a URL need it.
  std::string text() const;
  bool isLoopback() const;
  bool isLinkLocal() const;
  bool isMulticast() const;
  auto operator<=>(const Address&) const = default;
};

struct Endpoint {
  Address address;
  std::uint16_t port = 0;    ///< in host order
  std::string text() const;  ///< "10.0.0.1:427", "[::1]:427", with the zone
  auto operator<=>(const Endpoint&) const = default;
};

/// Whether the first `prefix` bits are the same.
bool sameNetwork(const Address& left, const Address& right, unsigned prefix);

struct AddressHash {
  std::size_t operator()(const Address& address) const noexcept;
};

}  // namespace slp::net
