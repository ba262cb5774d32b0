#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "slp/agent/Registry.h"
#include "slp/net/Address.h"
#include "slp/net/Interfaces.h"
#include "slp/wire/Message.h"

namespace slp::agent {

/// What the answer to a message depends on beside its bytes.
struct Source {
  net::Endpoint from;
  net::Address ownAddress;   ///< of ours, on the interface by which it came: the one to tell about ourselves
  bool sentToGroup = false;  ///< by multicast or broadcast, as the destination says; the flag alone is not believed
  bool tcp = false;
  bool onLink = false;  ///< the sender is on one of our networks, or on this machine
  Owner connection = kNoConnection;
};

/// The settings that answers depend on.
struct ResponderSettings {
  std::string scopes = "DEFAULT";
  std::string saAttributes;
  std::size_t maxDatagramMessage = 1'352;
  bool allowRemoteRegistrations = false;
};

/// The service agent's answers (RFC 2608, sections 7 to 10), without sockets: a function of the message, its source and
/// the registry. For one thread at a time.
class Responder {
 public:
  using AdvertSink = std::function<void(const wire::DirectoryAgentAdvert&, const net::Endpoint& from)>;

  Responder(Registry& registry, ResponderSettings settings);

  /// Adverts of directory agents are handed on; there is no answer to them.
  void onDirectoryAgentAdvert(AdvertSink sink) { mAdvertSink = std::move(sink); }
  /// The addresses of this machine: a request that lists one of them has had its answer.
  void setOwnAddresses(std::vector<net::Interface> interfaces) { mInterfaces = std::move(interfaces); }

  /// Puts the answer into `reply`, in place of what it held. False: no answer is to be sent.
  bool respond(std::span<const std::byte> message, const Source& source, TimePoint now, std::string& reply);

 private:
  Registry& mRegistry;
  ResponderSettings mSettings;
  AdvertSink mAdvertSink;
  std::vector<net::Interface> mInterfaces;
};

}  // namespace slp::agent
