#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "slp/net/Address.h"

namespace slp::client {

/// The world as a search sees it: where it sends, what it receives, and what time it is. One thread uses it; only the
/// cancelling of a real one comes from others. Tests put a network in memory in its place.
class Transport {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using StreamId = std::uint32_t;

  /// Which groups a multicast request goes to over IPv6 (RFC 3111, section 4.1); over IPv4 there is one.
  enum class Group { kService, kDirectoryAgent, kGeneral };

  enum class EventKind { kDatagram, kStreamConnected, kStreamMessage, kStreamFailed, kRefused, kTimeUp, kCancelled };

  struct Event {
    EventKind kind = EventKind::kTimeUp;
    std::span<const std::byte> bytes;  ///< of a datagram or message; until the next wait or closeStream
    net::Endpoint from;                ///< of a datagram, message, failed stream, or the port that refused a datagram
    StreamId stream = 0;
  };

  virtual ~Transport() = default;

  /// Sends once out of every suitable interface (or those that the handle is tied to), in both families. The number of
  /// interfaces that took it: 0 when there is no network at all. `serviceType` chooses the group of kService.
  virtual std::size_t multicast(std::string_view message, Group group, std::string_view serviceType) = 0;
  /// The interfaces to which it is tied, as one text that tells them from others; empty for every suitable one.
  virtual std::string networks() const { return {}; }
  /// False when it could not be sent.
  virtual bool sendTo(std::string_view message, const net::Endpoint& to) = 0;
  /// Connects and sends; that it is connected and whole messages come back as events until closeStream or failure.
  virtual StreamId openStream(const net::Endpoint& to, std::string_view message) = 0;
  virtual void closeStream(StreamId stream) = 0;

  /// The next event, in order of arrival; whatever has already arrived comes before kTimeUp, however late it is.
  virtual Event wait(TimePoint until) = 0;
  /// Looks up a host's name; empty when it has no address. May take as long as the resolver does, but ends when the
  /// search is cancelled.
  virtual std::vector<net::Address> resolve(std::string_view host) = 0;
  /// Stands still while the callbacks of the caller run and names are looked up, so that their time is not taken for
  /// silence.
  virtual TimePoint now() const = 0;
  virtual void pauseClock() = 0;
  virtual void resumeClock() = 0;
};

/// Looks up a name while the clock stands still: a slow resolver must not eat the time of the search.
inline std::vector<net::Address> resolveBesideTime(Transport& transport, std::string_view host) {
  transport.pauseClock();
  auto addresses = transport.resolve(host);
  transport.resumeClock();
  return addresses;
}

}  // namespace slp::client
