#include "slp/agent/RegistrationMessages.h"

#include <algorithm>
#include <charconv>

#include "slp/agent/ClientExtension.h"
#include "slp/wire/AttributeList.h"
#include "slp/wire/Codec.h"

namespace slp::agent {
namespace {

constexpr std::chrono::seconds kLongestLifetime{kLifetimeForever - 1};

std::string encoded(const wire::Message& message) {
  std::string bytes;
  if (!wire::encode(message, bytes)) bytes.clear();
  return bytes;
}

}  // namespace

WireLifetime wireLifetime(std::uint16_t left, std::chrono::seconds minimumRefresh, std::chrono::seconds longest) {
  const std::chrono::seconds bound = left == kLifetimeForever ? kWireLifetime : std::min(longest, kLongestLifetime);
  const std::chrono::seconds wish = std::min(std::max(bound, minimumRefresh * 3 / 2), kLongestLifetime);
  if (left != kLifetimeForever && std::chrono::seconds(left) <= wish) return {left, std::nullopt};
  return {static_cast<std::uint16_t>(wish.count()), std::max(wish * 2 / 3, minimumRefresh)};
}

std::chrono::seconds minimumRefreshOf(std::string_view directoryAgentAttributes) {
  const wire::AttributeList attributes(directoryAgentAttributes);
  const wire::Attribute* found = attributes.find("min-refresh-interval");
  if (found == nullptr || found->values.empty() || found->values.front().kind != wire::ValueKind::kInteger) return {};
  // Beyond two thirds of the largest lifetime, nothing could be kept alive.
  return std::clamp(std::chrono::seconds(found->values.front().integer), std::chrono::seconds(0),
                    kLongestLifetime * 2 / 3);
}

std::string registrationMessage(const Registration& registration, std::string_view scopes, std::uint16_t lifetime,
                                std::uint16_t xid, bool tied) {
  wire::Message message;
  message.header.fresh = true;
  message.header.xid = xid;
  message.header.language = registration.language;
  wire::ServiceRegistration& body = message.body.emplace<wire::ServiceRegistration>();
  body.entry.lifetime = lifetime;
  body.entry.url = registration.url;
  body.serviceType = registration.serviceType;
  body.scopes = scopes;
  body.attributes = registration.attributes;
  if (tied) message.extensions.push_back({kEndsWithConnection, {}});
  return encoded(message);
}

std::string deregistrationMessage(std::string_view url, std::string_view language, std::string_view scopes,
                                  std::uint16_t xid, bool tied) {
  wire::Message message;
  message.header.xid = xid;
  message.header.language = language;
  wire::ServiceDeregistration& body = message.body.emplace<wire::ServiceDeregistration>();
  body.scopes = scopes;
  body.entry.url = url;
  if (tied) message.extensions.push_back({kEndsWithConnection, {}});
  return encoded(message);
}

}  // namespace slp::agent
