#include "host/resources/RemoteServerCall.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "framework/constants/JsonConstants.h"
#include "framework/http/StatusBlock.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"
#include "framework/utils/StringHelper.h"
#include "json/lookup.h"

namespace host {
namespace {

using constants::JsonConstants;
using http::HTTPCommand;

/// What is read of lists that a peer has written.
constexpr std::size_t kMaxEndpoints = 16;
constexpr std::size_t kMaxAddresses = 128;
/// Addresses that are tried altogether.
constexpr std::size_t kMaxTargets = 8;

std::optional<PeerTarget> readEndpoint(const json::Object& entry) {
  const auto port = json::numberAt(entry, {JsonConstants::PORT});
  if (!port || !(*port >= 1 && *port <= 65535) || std::floor(*port) != *port) return std::nullopt;
  PeerTarget endpoint{json::textAt(entry, {JsonConstants::ADDRESS}), static_cast<std::uint16_t>(*port),
                      json::textAt(entry, {JsonConstants::SCHEME})};
  if (endpoint.scheme != "https" && endpoint.scheme != "http") endpoint.scheme.clear();
  return endpoint;
}

/// The elements of a list are endpoints, or agents that hold a list of them.
void readEndpoints(const json::Array* list, std::vector<PeerTarget>& endpoints, bool mayHoldAgents) {
  if (list == nullptr) return;
  for (const json::UnknownElement& element : *list) {
    const auto* entry = element.getIf<json::Object>();
    if (entry == nullptr || endpoints.size() >= kMaxEndpoints) continue;
    if (auto endpoint = readEndpoint(*entry)) {
      endpoints.push_back(std::move(*endpoint));
    } else if (mayHoldAgents) {
      readEndpoints(json::arrayAt(*entry, {JsonConstants::LISTEN}), endpoints, false);
    }
  }
}

void readAddresses(const json::Array* nics, std::vector<std::string>& addresses) {
  if (nics == nullptr) return;
  for (const json::UnknownElement& element : *nics) {
    const auto* nic = element.getIf<json::Object>();
    if (nic == nullptr) continue;
    for (const char* family : {JsonConstants::IP_V4, JsonConstants::IP_V6}) {
      if (addresses.size() < kMaxAddresses) addresses.push_back(json::textAt(*nic, {family}));
    }
  }
}

/// The endpoint that listens at an address: the one of just that address, else the first.
PeerTarget endpointFor(const std::string& address, const RemoteQuery& query, const Endpoint& own) {
  PeerTarget target{address, own.port, own.scheme};
  if (query.endpoints.empty()) return target;
  const auto exact = std::find_if(query.endpoints.begin(), query.endpoints.end(),
                                  [&](const PeerTarget& endpoint) { return endpoint.host == address; });
  const PeerTarget& endpoint = exact == query.endpoints.end() ? query.endpoints.front() : *exact;
  target.port = endpoint.port;
  if (!endpoint.scheme.empty()) target.scheme = endpoint.scheme;
  return target;
}

/// An end of this server says nothing about the other one.
void tellFailure(const RemoteQuery& query, const PeerAnswer& answer) {
  using utils::Sighting;
  if (answer.error == httpclient::ErrorKind::kCancelled) return;
  utils::observer::sighted(
      {query.serverIp, query.displayId, Sighting::Source::kSlp, Sighting::Outcome::kFailed, answer.text});
}

void answerFailure(int status, const std::string& text, json::Object& response) {
  response = http::statusBlock(status, text);
}

}  // namespace

RemoteQuery readRemoteQuery(const json::Object& request) {
  RemoteQuery query;
  const json::Object* properties = json::objectAt(request, {JsonConstants::PROPERTIES});
  if (properties == nullptr) return query;
  query.serverIp = json::textAt(*properties, {JsonConstants::SERVER_IP});
  query.displayId = json::textAt(*properties, {JsonConstants::DISPLAY_ID});
  readEndpoints(json::arrayAt(*properties, {JsonConstants::AGENTS}), query.endpoints, true);
  readAddresses(json::arrayAt(*properties, {JsonConstants::NICS}), query.addresses);
  readAddresses(json::arrayAt(*properties, {JsonConstants::OS, JsonConstants::NETWORK, JsonConstants::NICS}),
                query.addresses);
  for (const PeerTarget& endpoint : query.endpoints) {
    query.addresses.push_back(endpoint.host);
  }
  return query;
}

std::vector<PeerTarget> chooseTargets(const RemoteQuery& query, const Endpoint& own, const std::vector<Link>& links) {
  std::vector<PeerTarget> targets;
  if (!isIpAddress(query.serverIp) && !isHostName(query.serverIp)) return targets;
  targets.push_back(endpointFor(query.serverIp, query, own));
  for (const std::string& address : query.addresses) {
    const bool isOurs =
        std::any_of(links.begin(), links.end(), [&](const Link& link) { return link.address == address; });
    if (targets.size() >= kMaxTargets || isOurs || isUnusableForPeers(address) || !isOnLink(address, links)) continue;
    PeerTarget target = endpointFor(address, query, own);
    if (std::find(targets.begin(), targets.end(), target) == targets.end()) targets.push_back(std::move(target));
  }
  return targets;
}

HTTPCommand::HTTPStatus_ callRemoteServer(const json::Object& request, json::Object& response, const Endpoint& own,
                                          const AskPeer& ask) {
  const RemoteQuery query = readRemoteQuery(request);
  const auto targets = chooseTargets(query, own, ownLinks());
  if (targets.empty()) {
    answerFailure(HTTPCommand::HTTP_BAD_GATEWAY, "There is no address of a server to ask", response);
    return HTTPCommand::HTTP_BAD_GATEWAY;
  }
  // Another machine may hold one of the further addresses by now.
  const auto isTheSame = [&query](const json::Object& record) {
    const std::string id = json::textAt(record, {JsonConstants::PROPERTIES, JsonConstants::DISPLAY_ID});
    return !query.displayId.empty() && utils::StringHelper::compare_ignore_case(id, query.displayId);
  };
  PeerAnswer answer = askInTurn(targets, ask, isTheSame);
  if (answer.kind == PeerAnswer::Kind::kRecord) {
    response = std::move(answer.record);
    return HTTPCommand::HTTP_OK;
  }
  const auto status = answer.kind == PeerAnswer::Kind::kMayPass ? HTTPCommand::HTTP_BAD_REQUEST  //
                                                                : HTTPCommand::HTTP_BAD_GATEWAY;
  tellFailure(query, answer);
  utils::formatted_log_t(utils::LOG_DETAIL, "RemoteServerCall:callRemoteServer:%1%:%2%:%3%") % query.serverIp % status %
      answer.text;
  answerFailure(status, "The server at " + query.serverIp + " was not reached: " + answer.text, response);
  return status;
}

}  // namespace host
