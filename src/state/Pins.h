#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "state/Directory.h"

namespace state {

/// Where a server shows its certificate.
struct PinnedAddress {
  std::string host;  ///< an IP address without brackets
  std::uint16_t port = 0;

  friend auto operator<=>(const PinnedAddress&, const PinnedAddress&) = default;
};

/// The certificate that a server has shown before. Certificates are named by their fingerprints, times are texts.
struct Pin {
  std::string fingerprint;
  std::string since;     ///< when it was pinned
  std::string lastSeen;  ///< when the server showed it last
  std::string offered;   ///< what the server shows in its place; "" when it shows what it should
  std::string offeredSince;

  friend bool operator==(const Pin&, const Pin&) = default;
};

/// The pins, and the file that keeps them. Not safe for several threads.
class Pins {
 public:
  using Table = std::map<PinnedAddress, Pin>;
  static constexpr std::size_t kMax = 20'000;
  static constexpr std::size_t kMaxOfHost = 8;  ///< so that nobody takes all the room by his ports
  static constexpr const char* kFile = "pins.json";

  /// What the file holds; nothing where there is none. Throws std::exception when it cannot be read or makes no sense:
  /// to go on without pins would be to trust everybody anew.
  static Pins load(const Directory& directory);
  /// Throws std::system_error, and the file is then as it was.
  void save(const Directory& directory) const;

  const Table& table() const { return mTable; }
  /// Null when there is none.
  Pin* find(const PinnedAddress& address);
  /// Whether there is one at any port.
  bool holds(const std::string& host) const { return countOf(host) > 0; }
  /// At how many ports there is one.
  std::size_t countOf(const std::string& host) const;
  /// False when there are too many. The oldest do not make room: whoever has many addresses could drive the others out.
  bool add(const PinnedAddress& address, Pin pin);
  /// False when there is none.
  bool erase(const PinnedAddress& address) { return mTable.erase(address) > 0; }

 private:
  Table mTable;
};

}  // namespace state
