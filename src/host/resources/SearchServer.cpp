#include "host/resources/SearchServer.h"

#include <utility>

#include "framework/constants/JsonConstants.h"
#include "framework/http/StatusBlock.h"
#include "framework/utils/IpAddress.h"
#include "framework/utils/Observer.h"
#include "host/net/Address.h"
#include "json/lookup.h"

namespace host {
namespace {

using constants::JsonConstants;
using http::HTTPCommand;
using httpclient::ErrorKind;

constexpr std::size_t kMaxAddress = 255;

HTTPCommand::HTTPStatus_ fail(HTTPCommand::HTTPStatus_ status, const std::string& text, json::Object& response) {
  response = http::statusBlock(status, text);
  return status;
}

std::string describe(const PeerAnswer& answer, const std::string& host, std::uint16_t port) {
  const std::string where = bracketed(host) + ":" + std::to_string(port);
  if (answer.error == ErrorKind::kResolve) return "The name " + host + " has no address";
  if (answer.error == ErrorKind::kCancelled) return "The search was called off: this server is shutting down";
  if (answer.kind == PeerAnswer::Kind::kRefused) return "The server at " + where + " was refused: " + answer.text;
  if (answer.kind == PeerAnswer::Kind::kNoServer) return "There is no such server at " + where + ": " + answer.text;
  return "Nothing was found at " + where + ": " + answer.text;
}

/// An end of this server says nothing about the other one.
void tellFailure(const std::string& host, const PeerAnswer& answer) {
  using utils::Sighting;
  if (answer.error == ErrorKind::kCancelled) return;
  utils::observer::sighted({host, "", Sighting::Source::kSearch, Sighting::Outcome::kFailed, answer.text});
}

}  // namespace

std::optional<std::string> readSearchAddress(std::string_view text) {
  if (text.empty() || text.size() > kMaxAddress) return std::nullopt;
  if (text.front() == '[') {
    if (text.back() != ']') return std::nullopt;
    text = text.substr(1, text.size() - 2);
    return utils::isIPv6Text(text) ? std::optional<std::string>(text) : std::nullopt;
  }
  return isIpAddress(text) || isHostName(text) ? std::optional<std::string>(text) : std::nullopt;
}

HTTPCommand::HTTPStatus_ searchStatus(const PeerAnswer& answer) {
  if (answer.kind == PeerAnswer::Kind::kRecord) return HTTPCommand::HTTP_OK;
  if (answer.error == ErrorKind::kTimedOut) return HTTPCommand::HTTP_GATEWAY_TIMEOUT;
  if (answer.error == ErrorKind::kCancelled) return HTTPCommand::HTTP_SERVICE_UNAVAILABLE;
  return HTTPCommand::HTTP_BAD_GATEWAY;
}

HTTPCommand::HTTPStatus_ searchServer(const json::Object& request, json::Object& response, const Endpoint& own,
                                      const AskPeer& ask) {
  const auto host = readSearchAddress(json::textAt(request, {"parameters", JsonConstants::ADDRESS}));
  if (!host) {
    return fail(HTTPCommand::HTTP_BAD_REQUEST,
                "The address to search is neither an IP address nor a host name, without port", response);
  }
  PeerAnswer answer =
      askInTurn({PeerTarget{*host, own.port, own.scheme}}, ask, [](const json::Object&) { return true; });
  const auto status = searchStatus(answer);
  if (status != HTTPCommand::HTTP_OK) {
    const std::string text = describe(answer, *host, own.port);
    tellFailure(*host, answer);
    return fail(status, text, response);
  }
  response = http::statusBlock(0, JsonConstants::SUCCESS);
  response[JsonConstants::VALUE] = answer.record;
  response["isVmware"] = json::Boolean(false);
  return status;
}

}  // namespace host
