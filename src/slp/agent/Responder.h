#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "slp/agent/Registry.h"
#include "slp/agent/SelfDescription.h"
#include "slp/agent/Source.h"
#include "slp/net/Address.h"
#include "slp/net/Interfaces.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Message.h"

namespace slp::agent {

/// The settings that answers depend on.
struct ResponderSettings {
  std::string scopes = "DEFAULT";
  std::string saAttributes;
  std::size_t maxDatagramMessage = 1'352;
  bool allowRemoteRegistrations = false;
};

/// The service agent's answers (RFC 2608, sections 7 to 10), without sockets: a function of the message, its source and
/// the registry. For one thread at a time.
///
/// Where the RFC leaves a choice: another version of the protocol gets no answer, because its sender would not
/// understand ours. Messages over TCP are never taken for multicast, whatever their flags. A unicast request for
/// directory agents, of which this is none, and one for service agents whose predicate does not fit get an empty
/// SrvRply. Registrations from where they are not allowed get AUTHENTICATION_FAILED. Updates of registrations (SrvReg
/// without FRESH, SrvDeReg with tags) are not supported; for unknown URLs they get INVALID_UPDATE and
/// INVALID_REGISTRATION.
class Responder {
 public:
  using AdvertSink = std::function<void(const wire::DirectoryAgentAdvert&, const net::Endpoint& from)>;
  /// A registration or deregistration that was granted.
  struct Change {
    std::string url;
    Owner owner = kNoConnection;  ///< a connection when the registration ends with it
  };

  Responder(Registry& registry, ResponderSettings settings);

  /// Adverts of directory agents are handed on; there is no answer to them.
  void onDirectoryAgentAdvert(AdvertSink sink) { mAdvertSink = std::move(sink); }
  /// The addresses of this machine: a request that lists one of them has had its answer.
  void setOwnAddresses(std::vector<net::Interface> interfaces) { mInterfaces = std::move(interfaces); }

  /// Puts the answer into `reply`, in place of what it held. False: no answer is to be sent.
  bool respond(std::span<const std::byte> message, const Source& source, TimePoint now, std::string& reply);
  /// What the last message has changed in the registry, if anything.
  const std::optional<Change>& change() const { return mChange; }

 private:
  struct Request;

  bool reject(const wire::Rejected& rejected, const Request& request) const;
  bool answer(const wire::ServiceRequest& body, const Request& request);
  bool answer(const wire::AttributeRequest& body, const Request& request);
  bool answer(const wire::ServiceTypeRequest& body, const Request& request);
  bool answer(const wire::ServiceRegistration& body, const Request& request);
  bool answer(const wire::ServiceDeregistration& body, const Request& request);
  bool answer(const wire::DirectoryAgentAdvert& body, const Request& request);
  template <class Reply>
  bool answer(const Reply& body, const Request& request);

  bool findServices(const wire::ServiceRequest& body, const Request& request) const;
  bool describeSelf(const wire::ServiceRequest& body, const Request& request);
  bool attributesOfUrl(const wire::AttributeRequest& body, const Request& request) const;
  bool attributesOfType(const wire::AttributeRequest& body, const Request& request) const;

  wire::ErrorCode refusal(std::string_view scopes, std::string_view spi) const;
  wire::ErrorCode registered(const wire::ServiceRegistration& body, const Request& request);
  wire::ErrorCode deregistered(const wire::ServiceDeregistration& body, const Request& request);
  bool acknowledge(wire::ErrorCode error, const wire::UrlEntry& entry, const Request& request);
  bool mayRegister(const Source& source) const;
  bool isRegistered(std::string_view url, TimePoint now) const;

  Registry& mRegistry;
  ResponderSettings mSettings;
  AdvertSink mAdvertSink;
  std::vector<net::Interface> mInterfaces;
  SelfDescription mSelf;
  std::optional<Change> mChange;
};

}  // namespace slp::agent
