#include "slp/client/Request.h"

#include <chrono>
#include <unistd.h>
#include <utility>

#include "slp/wire/ServiceType.h"
#include "slp/wire/Text.h"

namespace slp::client {
namespace {

/// Hard to guess, so that whoever does not see the request can hardly forge an answer; never 0, which adverts that
/// nobody asked for carry.
std::uint16_t newXid() {
  std::uint16_t xid = 0;
  if (::getentropy(&xid, sizeof(xid)) != 0)
    xid = static_cast<std::uint16_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return xid == 0 ? std::uint16_t{1} : xid;
}

wire::Body bodyOf(const ServiceQuery& query, std::string_view previousResponders) {
  return wire::ServiceRequest{previousResponders, query.serviceType, query.scopes, query.filter, {}};
}

wire::Body bodyOf(const AttributeQuery& query, std::string_view previousResponders) {
  return wire::AttributeRequest{previousResponders, query.urlOrType, query.scopes, query.tags, {}};
}

wire::Body bodyOf(const TypeQuery& query, std::string_view previousResponders) {
  return wire::ServiceTypeRequest{previousResponders, query.namingAuthority, query.scopes};
}

bool answers(const ServiceQuery& query, const wire::Body& body) {
  if (std::holds_alternative<wire::ServiceReply>(body)) return true;
  if (std::holds_alternative<wire::DirectoryAgentAdvert>(body)) return isDirectoryAgentType(query.serviceType);
  return std::holds_alternative<wire::ServiceAgentAdvert>(body) && isServiceAgentType(query.serviceType);
}

bool answers(const AttributeQuery&, const wire::Body& body) {
  return std::holds_alternative<wire::AttributeReply>(body);
}

bool answers(const TypeQuery&, const wire::Body& body) {
  return std::holds_alternative<wire::ServiceTypeReply>(body);
}

wire::Function replyTo(const ServiceQuery&) {
  return wire::ServiceReply::kFunction;
}

wire::Function replyTo(const AttributeQuery&) {
  return wire::AttributeReply::kFunction;
}

wire::Function replyTo(const TypeQuery&) {
  return wire::ServiceTypeReply::kFunction;
}

std::string subjectOf(const ServiceQuery& query) {
  return "services\n" + wire::folded(query.serviceType);
}

/// The one who answers for a URL is remembered as its sender, and not as one of many who know its type.
std::string subjectOf(const AttributeQuery& query) {
  return wire::isServiceType(query.urlOrType) ? "attributes\n" + wire::folded(query.urlOrType) : std::string();
}

std::string subjectOf(const TypeQuery& query) {
  return query.namingAuthority ? "types\n" + wire::folded(*query.namingAuthority) : "types of all";
}

}  // namespace

bool isDirectoryAgentType(std::string_view type) {
  return wire::equalFolded(type, wire::kDirectoryAgentType);
}

bool isServiceAgentType(std::string_view type) {
  return wire::equalFolded(type, wire::kServiceAgentType);
}

Request::Request(ServiceQuery query) : mQuery(std::move(query)), mXid(newXid()) {}
Request::Request(AttributeQuery query) : mQuery(std::move(query)), mXid(newXid()) {}
Request::Request(TypeQuery query) : mQuery(std::move(query)), mXid(newXid()) {}

std::optional<std::string> Request::encode(bool toGroup, std::string_view previousResponders) const {
  wire::Header header;
  header.multicast = toGroup;
  header.xid = mXid;
  header.language = language();
  const auto body = std::visit([&](const auto& query) { return bodyOf(query, previousResponders); }, mQuery);
  std::string bytes;
  if (!wire::encode(header, body, bytes)) return std::nullopt;
  return bytes;
}

bool Request::answeredBy(const wire::Message& message) const {
  if (message.header.xid != mXid) return false;
  return std::visit([&](const auto& query) { return answers(query, message.body); }, mQuery);
}

bool Request::answeredBy(const wire::Rejected& cut) const {
  if (!cut.header || !cut.header->overflow || cut.header->xid != mXid) return false;
  return cut.function == std::visit([](const auto& query) { return replyTo(query); }, mQuery);
}

const std::string& Request::scopes() const {
  return std::visit([](const auto& query) -> const std::string& { return query.scopes; }, mQuery);
}

const std::string& Request::language() const {
  return std::visit([](const auto& query) -> const std::string& { return query.language; }, mQuery);
}

Transport::Group Request::group() const {
  const auto* services = std::get_if<ServiceQuery>(&mQuery);
  if (services == nullptr) return Transport::Group::kGeneral;
  return isDirectoryAgentType(services->serviceType) ? Transport::Group::kDirectoryAgent : Transport::Group::kService;
}

std::string_view Request::serviceType() const {
  const auto* services = std::get_if<ServiceQuery>(&mQuery);
  return services == nullptr ? std::string_view{} : std::string_view(services->serviceType);
}

std::optional<std::string> Request::key() const {
  const auto subject = std::visit([](const auto& query) { return subjectOf(query); }, mQuery);
  if (subject.empty()) return std::nullopt;
  return subject + '\n' + wire::folded(scopes()) + '\n' + wire::folded(language());
}

bool Request::isPlain() const {
  if (const auto* services = std::get_if<ServiceQuery>(&mQuery)) return services->filter.empty();
  const auto* attributes = std::get_if<AttributeQuery>(&mQuery);
  return attributes == nullptr || attributes->tags.empty();
}

}  // namespace slp::client
