#include "slp/agent/Responder.h"

#include <algorithm>
#include <optional>
#include <variant>

#include "slp/agent/ClientExtension.h"
#include "slp/agent/ReplyWriter.h"
#include "slp/agent/Zones.h"
#include "slp/net/Traffic.h"
#include "slp/wire/Limits.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/StringList.h"
#include "slp/wire/Text.h"

namespace slp::agent {

using wire::ErrorCode;

namespace {

/// The kind of reply that a request of the function gets; nothing when it gets none.
std::optional<wire::Body> failure(wire::Function function, ErrorCode error) {
  switch (function) {
    case wire::Function::kServiceRequest:
      return wire::ServiceReply{error, {}};
    case wire::Function::kAttributeRequest:
      return wire::AttributeReply{error, {}, {}};
    case wire::Function::kServiceTypeRequest:
      return wire::ServiceTypeReply{error, {}};
    case wire::Function::kServiceRegistration:
    case wire::Function::kServiceDeregistration:
      return wire::ServiceAcknowledge{error};
    default:
      return std::nullopt;
  }
}

/// How long the answer may be.
std::size_t limitFor(const Source& source, std::size_t requestSize, std::size_t maxDatagram) {
  if (source.tcp) return limits::kMaxMessage;
  return source.onLink ? maxDatagram : std::min(maxDatagram, limits::kMaxAmplification * requestSize);
}

/// Whether the list has an address of ours. Loopback stands for the asking machine itself, so that it only counts when
/// that is this one.
bool hasAnswered(std::string_view previousResponders, const Source& source,
                 const std::vector<net::Interface>& interfaces) {
  for (std::size_t looked = 0; !previousResponders.empty() && looked < limits::kMaxPreviousResponders; ++looked) {
    const auto comma = previousResponders.find(',');
    const auto address = net::Address::parseForeign(wire::trimmed(previousResponders.substr(0, comma)));
    previousResponders.remove_prefix(comma == std::string_view::npos ? previousResponders.size() : comma + 1);
    if (!address) continue;
    if (address->isLoopback() ? isThisMachine(source, interfaces) : net::isOwn(interfaces, *address)) return true;
  }
  return false;
}

Owner ownerOf(const Source& source, std::span<const wire::Extension> extensions) {
  return endsWithConnection(extensions) ? source.connection : kNoConnection;
}

std::string agentUrl(const net::Address& address) {
  const bool v6 = address.family == net::Family::kV6;
  return std::string(wire::kServiceAgentType) + "://" + (v6 ? "[" : "") + address.text() + (v6 ? "]" : "");
}

}  // namespace

/// One message and what is needed to answer it.
struct Responder::Request {
  const wire::Header& header;
  std::span<const wire::Extension> extensions;
  const Source& source;
  TimePoint now;
  bool multicast;
  std::size_t limit;
  std::string& reply;

  bool send(const wire::Body& body, bool overflow = false) const {
    auto answered = replyTo(header);
    answered.overflow = overflow;
    return write(answered, body, limit, reply);
  }
  /// Errors and empty answers are not for those who asked everybody.
  bool sendUnlessMulticast(const wire::Body& body) const { return !multicast && send(body); }
};

Responder::Responder(Registry& registry, ResponderSettings settings)
    : mRegistry(registry), mSettings(std::move(settings)), mSelf(mRegistry, mSettings.scopes, mSettings.saAttributes) {}

bool Responder::respond(std::span<const std::byte> message, const Source& source, TimePoint now, std::string& reply) {
  reply.clear();
  mChange.reset();
  const auto decoded = wire::decode(message);
  const auto limit = limitFor(source, message.size(), mSettings.maxDatagramMessage);
  const auto requestOf = [&](const wire::Header& header, std::span<const wire::Extension> extensions) {
    const bool multicast = !source.tcp && (header.multicast || source.sentToGroup);
    return Request{header, extensions, source, now, multicast, limit, reply};
  };
  if (const auto* rejected = std::get_if<wire::Rejected>(&decoded)) {
    net::countMessage(net::Fate::kDropped, message);
    return rejected->header && reject(*rejected, requestOf(*rejected->header, {}));
  }
  const auto& whole = std::get<wire::Message>(decoded);
  const auto request = requestOf(whole.header, whole.extensions);
  return std::visit([&](const auto& body) { return answer(body, request); }, whole.body);
}

bool Responder::reject(const wire::Rejected& rejected, const Request& request) const {
  const auto body = failure(rejected.function, rejected.error);
  return body && request.sendUnlessMulticast(*body);
}

/// What speaks against every request: no scope of ours, or a key for signatures, of which we have none.
ErrorCode Responder::refusal(std::string_view scopes, std::string_view spi) const {
  if (!wire::intersects(scopes, mSettings.scopes)) return ErrorCode::kScopeNotSupported;
  return spi.empty() ? ErrorCode::kOk : ErrorCode::kAuthenticationUnknown;
}

bool Responder::answer(const wire::ServiceRequest& body, const Request& request) {
  if (hasAnswered(body.previousResponders, request.source, mInterfaces)) return false;
  if (wire::equalFolded(body.serviceType, wire::kServiceAgentType)) return describeSelf(body, request);
  if (wire::equalFolded(body.serviceType, wire::kDirectoryAgentType))
    return request.sendUnlessMulticast(wire::ServiceReply{});
  auto error = refusal(body.scopes, body.spi);
  if (wire::trimmed(body.serviceType).empty()) error = ErrorCode::kParseError;
  if (error != ErrorCode::kOk) return request.sendUnlessMulticast(wire::ServiceReply{error, {}});
  return findServices(body, request);
}

bool Responder::findServices(const wire::ServiceRequest& body, const Request& request) const {
  ServiceReplyWriter writer(replyTo(request.header), request.limit, request.reply);
  // One reference, so that the function object needs no memory.
  struct {
    const Responder& self;
    const Request& request;
    ServiceReplyWriter& writer;
  } context{*this, request, writer};
  const auto error = mRegistry.findServices({body.serviceType, body.scopes, body.predicate, request.header.language},
                                            request.now, [&context](const Registry::Entry& entry) {
                                              if (!mayTell(entry.url, context.request.source, context.self.mInterfaces))
                                                return true;
                                              return context.writer.add(entry.url, entry.lifetime);
                                            });
  if (error != ErrorCode::kOk) return request.sendUnlessMulticast(wire::ServiceReply{error, {}});
  if (writer.fits() && !(request.multicast && writer.empty())) return true;
  request.reply.clear();
  return false;
}

/// Section 8.6. A list of scopes is only needed by those who want a certain one (section 11.2).
bool Responder::describeSelf(const wire::ServiceRequest& body, const Request& request) {
  const auto refuse = [&](ErrorCode error) { return request.sendUnlessMulticast(wire::ServiceReply{error, {}}); };
  const auto error = refusal(body.scopes.empty() ? mSettings.scopes : body.scopes, body.spi);
  if (error != ErrorCode::kOk) return refuse(error);
  mSelf.refresh();
  if (!body.predicate.empty()) {
    const auto filter = wire::Filter::parse(body.predicate);
    if (!filter) return refuse(ErrorCode::kParseError);
    if (!mSelf.matches(*filter)) return refuse(ErrorCode::kOk);
  }
  const auto url = agentUrl(request.source.ownAddress);
  if (request.send(wire::ServiceAgentAdvert{url, mSettings.scopes, mSelf.attributes(), {}})) return true;
  if (request.send(wire::ServiceAgentAdvert{url, mSettings.scopes, mSelf.configuredAttributes(), {}}, true))
    return true;
  if (request.send(wire::ServiceAgentAdvert{url, mSettings.scopes, {}, {}}, true)) return true;
  // The scopes alone can be more than a stranger gets for a short request.
  return request.send(wire::ServiceReply{}, true);
}

bool Responder::answer(const wire::AttributeRequest& body, const Request& request) {
  if (hasAnswered(body.previousResponders, request.source, mInterfaces)) return false;
  auto error = refusal(body.scopes, body.spi);
  if (wire::trimmed(body.url).empty()) error = ErrorCode::kParseError;
  if (error != ErrorCode::kOk) return request.sendUnlessMulticast(wire::AttributeReply{error, {}, {}});
  return wire::isServiceType(body.url) ? attributesOfType(body, request) : attributesOfUrl(body, request);
}

bool Responder::attributesOfUrl(const wire::AttributeRequest& body, const Request& request) const {
  bool answered = false;
  const auto visit = [&](const Registry::Entry& entry) {
    if (!mayTell(entry.url, request.source, mInterfaces)) return false;
    const auto selected = body.tags.empty() ? std::string() : wire::selectAttributes(entry.attributes, body.tags);
    const auto attributes = body.tags.empty() ? entry.attributes : std::string_view(selected);
    if (attributes.empty()) return false;
    answered = request.send(wire::AttributeReply{ErrorCode::kOk, attributes, {}}) ||
               request.send(wire::AttributeReply{}, true);
    return false;
  };
  const auto error = mRegistry.findByUrl(body.url, body.scopes, request.header.language, request.now, visit);
  return answered || request.sendUnlessMulticast(wire::AttributeReply{error, {}, {}});
}

bool Responder::attributesOfType(const wire::AttributeRequest& body, const Request& request) const {
  const auto admit = [&](const Registry::Entry& entry) { return mayTell(entry.url, request.source, mInterfaces); };
  const auto merged = mRegistry.mergeAttributes({body.url, body.scopes, {}, request.header.language}, body.tags,
                                                request.now, std::min(request.limit, limits::kMaxText), admit);
  if (merged.result != ErrorCode::kOk || (merged.attributes.empty() && !merged.cut)) {
    return request.sendUnlessMulticast(wire::AttributeReply{merged.result, {}, {}});
  }
  // A list that is cut is of use over TCP, where there is no other way to more.
  const bool whole = !merged.cut || request.source.tcp;
  return (whole && request.send(wire::AttributeReply{ErrorCode::kOk, merged.attributes, {}}, merged.cut)) ||
         request.send(wire::AttributeReply{}, true);
}

bool Responder::answer(const wire::ServiceTypeRequest& body, const Request& request) {
  if (hasAnswered(body.previousResponders, request.source, mInterfaces)) return false;
  if (const auto error = refusal(body.scopes, {}); error != ErrorCode::kOk) {
    return request.sendUnlessMulticast(wire::ServiceTypeReply{error, {}});
  }
  std::string types;
  bool cut = false;
  mRegistry.visitTypes(body.namingAuthority, body.scopes, [&](std::string_view type) {
    cut = types.size() + 1 + type.size() > std::min(request.limit, limits::kMaxText);
    if (!cut) types.append(types.empty() ? "" : ",").append(type);
    return !cut;
  });
  if (types.empty() && !cut) return request.sendUnlessMulticast(wire::ServiceTypeReply{});
  const bool whole = !cut || request.source.tcp;
  return (whole && request.send(wire::ServiceTypeReply{ErrorCode::kOk, types}, cut)) ||
         request.send(wire::ServiceTypeReply{}, true);
}

bool Responder::answer(const wire::ServiceRegistration& body, const Request& request) {
  return !request.multicast && acknowledge(registered(body, request), body.entry, request);
}

bool Responder::answer(const wire::ServiceDeregistration& body, const Request& request) {
  return !request.multicast && acknowledge(deregistered(body, request), body.entry, request);
}

bool Responder::acknowledge(ErrorCode error, const wire::UrlEntry& entry, const Request& request) {
  if (error == ErrorCode::kOk) mChange = {std::string(entry.url), ownerOf(request.source, request.extensions)};
  return request.send(wire::ServiceAcknowledge{error});
}

bool Responder::mayRegister(const Source& source) const {
  return mSettings.allowRemoteRegistrations || isThisMachine(source, mInterfaces);
}

bool Responder::isRegistered(std::string_view url, TimePoint now) const {
  bool found = false;
  const auto error = mRegistry.findByUrl(url, mSettings.scopes, "en", now, [&found](const Registry::Entry&) {
    found = true;
    return false;
  });
  return found || error == ErrorCode::kLanguageNotSupported;
}

ErrorCode Responder::registered(const wire::ServiceRegistration& body, const Request& request) {
  if (!mayRegister(request.source)) return ErrorCode::kAuthenticationFailed;
  if (!wire::intersects(body.scopes, mSettings.scopes)) return ErrorCode::kScopeNotSupported;
  if (!request.header.fresh) {
    return isRegistered(body.entry.url, request.now) ? ErrorCode::kMessageNotSupported : ErrorCode::kInvalidUpdate;
  }
  const Registration registration{
      std::string(body.entry.url),  std::string(body.serviceType),        std::string(body.scopes),
      std::string(body.attributes), std::string(request.header.language), body.entry.lifetime};
  return mRegistry.add(registration, ownerOf(request.source, request.extensions), request.now);
}

ErrorCode Responder::deregistered(const wire::ServiceDeregistration& body, const Request& request) {
  if (!mayRegister(request.source)) return ErrorCode::kAuthenticationFailed;
  if (!wire::intersects(body.scopes, mSettings.scopes)) return ErrorCode::kScopeNotSupported;
  if (!body.tags.empty()) {
    const bool known = isRegistered(body.entry.url, request.now);
    return known ? ErrorCode::kMessageNotSupported : ErrorCode::kInvalidRegistration;
  }
  return mRegistry.remove(body.entry.url, ownerOf(request.source, request.extensions));
}

bool Responder::answer(const wire::DirectoryAgentAdvert& body, const Request& request) {
  if (mAdvertSink && body.error == ErrorCode::kOk) mAdvertSink(body, request.source.from);
  return false;
}

/// Replies of others get no answer: two agents would talk for ever.
template <class Reply>
bool Responder::answer(const Reply& /*body*/, const Request& /*request*/) {
  return false;
}

}  // namespace slp::agent
