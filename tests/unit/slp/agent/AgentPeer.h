#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <poll.h>
#include <string>

#include "slp/config/Settings.h"
#include "slp/net/MessageStream.h"
#include "slp/net/UdpSocket.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Limits.h"

/// Those who talk with an agent on loopback.
namespace slp::agent {

inline constexpr std::chrono::seconds kTestDeadline{20};

inline bool isReady(int fd, short events, std::chrono::milliseconds deadline = kTestDeadline) {
  pollfd entry{fd, events, 0};
  return ::poll(&entry, 1, static_cast<int>(deadline.count())) > 0;
}

/// A message that owns its bytes.
struct Reply {
  std::string bytes;
  wire::Message message() const { return std::get<wire::Message>(wire::decode(wire::bytesOf(bytes))); }
  template <class Body>
  Body as() const {
    return std::get<Body>(message().body);
  }
};

inline Reply replyOf(std::span<const std::byte> bytes) {
  return {{reinterpret_cast<const char*>(bytes.data()), bytes.size()}};
}

inline std::string encoded(const wire::Message& message) {
  std::string bytes;
  wire::encode(message, bytes);
  return bytes;
}

inline std::string serviceRequest(std::string_view type, std::uint16_t xid = 1) {
  wire::Message message;
  message.header.xid = xid;
  wire::ServiceRequest body;
  body.serviceType = type;
  body.scopes = "DEFAULT";
  message.body = body;
  return encoded(message);
}

inline std::string attributeRequest(std::string_view url, std::uint16_t xid = 1) {
  wire::Message message;
  message.header.xid = xid;
  wire::AttributeRequest body;
  body.url = url;
  body.scopes = "DEFAULT";
  message.body = body;
  return encoded(message);
}

/// A port that nobody has, in both families and for UDP and TCP. Below the ports that the kernel gives to connections:
/// one of those to the port itself would otherwise find itself.
inline std::uint16_t freePort() {
  static std::uint16_t next = static_cast<std::uint16_t>(20'000 + ::getpid() % 10'000);
  for (;; ++next) {
    if (next >= 32'000) next = 20'000;
    net::UdpSocket v4;
    net::UdpSocket v6;
    int errorV4 = 0;
    int errorV6 = 0;
    const bool free = v4.open(net::Family::kV4, next) == 0 && v6.open(net::Family::kV6, next) != EADDRINUSE &&
                      net::listenTcp(net::Family::kV4, next, errorV4) &&
                      (net::listenTcp(net::Family::kV6, next, errorV6) || errorV6 != EADDRINUSE);
    if (free) return next++;
  }
}

/// Settings with which nothing leaves the machine.
inline config::Settings loopbackSettings(std::uint16_t port) {
  config::Settings settings;
  settings.port = port;
  settings.interfaces = {"lo"};
  settings.daActiveDiscoveryInterval = std::chrono::seconds(0);
  settings.randomWaitBound = std::chrono::milliseconds(0);
  return settings;
}

/// Asks over UDP, again now and then, because an agent may only be coming up.
class UdpPeer {
 public:
  explicit UdpPeer(std::uint16_t port, net::Family family = net::Family::kV4)
      : mAgent{net::Address::loopback(family), port} {
    mSocket.open(family, 0);
  }

  void send(const std::string& message) {
    net::Outgoing out;
    out.bytes = message;
    out.to = mAgent;
    mSocket.send(out);
  }
  std::optional<Reply> receive(std::chrono::milliseconds patience) {
    if (mReplies.empty() && isReady(mSocket.fd(), POLLIN, patience))
      for (const net::Datagram& datagram : mSocket.receive())
        mReplies.push_back(replyOf(datagram.bytes));
    if (mReplies.empty()) return std::nullopt;
    const Reply reply = mReplies.front();
    mReplies.pop_front();
    return reply;
  }
  std::optional<Reply> ask(const std::string& message) {
    const auto end = std::chrono::steady_clock::now() + kTestDeadline;
    while (std::chrono::steady_clock::now() < end) {
      send(message);
      if (auto reply = receive(std::chrono::milliseconds(200))) return reply;
    }
    return std::nullopt;
  }
  /// The URLs of a type that the agent has.
  std::vector<std::string> find(std::string_view type) {
    std::vector<std::string> urls;
    if (const auto reply = ask(serviceRequest(type)))
      for (const auto& entry : reply->as<wire::ServiceReply>().urls)
        urls.emplace_back(entry.url);
    return urls;
  }

 private:
  net::Endpoint mAgent;
  net::UdpSocket mSocket;
  std::deque<Reply> mReplies;
};

/// A connection.
class TcpPeer {
 public:
  explicit TcpPeer(std::uint16_t port, net::Family family = net::Family::kV4)
      : mStream(net::MessageStream::connect({net::Address::loopback(family), port}, limits::kMaxMessage)) {}

  void send(std::string_view bytes) { mStream.send(bytes); }
  std::optional<Reply> receive() {
    const auto end = std::chrono::steady_clock::now() + kTestDeadline;
    while (std::chrono::steady_clock::now() < end) {
      if (const auto message = mStream.next()) return replyOf(*message);
      if (!turn()) return std::nullopt;
    }
    return std::nullopt;
  }
  std::optional<Reply> ask(const std::string& message) {
    send(message);
    return receive();
  }
  /// Waits until the agent has closed.
  bool isClosed() {
    const auto end = std::chrono::steady_clock::now() + kTestDeadline;
    while (std::chrono::steady_clock::now() < end)
      if (!turn()) return true;
    return false;
  }

 private:
  bool turn() {
    const short events = static_cast<short>(POLLIN | (mStream.wantsWrite() ? POLLOUT : 0));
    isReady(mStream.fd(), events);
    mStream.ready();
    return !mStream.failed();
  }
  net::MessageStream mStream;
};

}  // namespace slp::agent
