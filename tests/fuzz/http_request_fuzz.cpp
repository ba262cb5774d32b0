#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>

#include "framework/http/Command.h"
#include "framework/http/UriTemplate.h"
#include "host/http/ContentCoding.h"
#include "host/http/EntityTag.h"
#include "host/http/RequestHead.h"
#include "host/http/Translate.h"
#include "host/security/Origin.h"
#include "json/reader.h"

// From the bytes of a connection to a command: whatever gets as far as a resource was aimed at exactly that resource,
// and every refusal is a document.
namespace {

namespace web = boost::beast::http;
using host::Aim;
using host::Answer;
using host::ClientRequest;
using RequestParser = web::request_parser<web::string_body>;

constexpr const char* kHere = "127.0.0.1";
constexpr const char* kElsewhere = "192.0.2.7";
constexpr std::uint32_t kHeaderLimit = 16 * 1024;
constexpr std::uint64_t kBodyLimit = 1024 * 1024;
constexpr std::array<const char*, 4> kPrefixes{"", "/kvt", "/kvt/", "https://here:8443/a/b"};
constexpr std::array<const char*, 5> kTemplates{"/1.0/servers", "/1.0/servers/{server_id}",
                                                "/1.0/servers/{server_id}/operations/discovery",
                                                "/1.0/searchedserver/{address}", "/healthz"};

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "http_request_fuzz: " << what << '\n';
  std::abort();
}

/// Feeds the parser until it has its header, or all of the request when it is eager.
boost::system::error_code feed(RequestParser& parser, std::string_view& bytes) {
  boost::system::error_code error;
  while (!bytes.empty() && !(parser.eager() ? parser.is_done() : parser.is_header_done())) {
    const std::size_t taken = parser.put(boost::asio::buffer(bytes.data(), bytes.size()), error);
    if (error || taken == 0) break;
    bytes.remove_prefix(taken);
  }
  return error;
}

void requireRefusal(const Answer& answer, std::initializer_list<int> statuses) {
  require(std::find(statuses.begin(), statuses.end(), answer.status) != statuses.end(),
          "a refusal with another status");
  json::Object document;
  json::Reader::Read(document, answer.body);  // throws for what is none
  require(document.Find("status") != document.End(), "a refusal without its block");
}

bool isOfProxy(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name.starts_with("x-forwarded-") || name == "forwarded" || name == "via" || name == "x-real-ip";
}

/// What decides who asks and for whom is there once, and is what the header says.
void requireOneMeaning(const host::RequestMessage& message) {
  for (const char* name : {"Authorization", "Host", "Origin", "X-CSRF-Token", "Sec-Fetch-Site"}) {
    require(message.count(name) <= 1, "two headers of which each reader may choose another");
  }
  require(message.version() < 11 || message.count(web::field::host) == 1, "HTTP/1.1 without a host");
  require(message.version() >= 11 || message.count(web::field::transfer_encoding) == 0, "HTTP/1.0 in pieces");
}

void requireSoundOrigin(const ClientRequest& request, const host::RequestMessage& message) {
  const bool forwarded = std::any_of(message.begin(), message.end(),
                                     [](const auto& field) { return isOfProxy(std::string(field.name_string())); });
  const bool isLocal = host::isLocal(request);
  require(!isLocal || request.remoteAddress == kHere, "a request of another machine that is taken for a local one");
  require(!isLocal || !forwarded, "a request through a proxy that is taken for a local one");
  const std::string& site = request.headers.fetchSite;
  const bool isForeign = !host::foreignOrigin(request).empty();
  require(isForeign || site.empty() || site == "none" || site == "same-origin", "a page of another site may write");
  require(isForeign || request.headers.origin != "null", "a page without an origin may write");
  require(isForeign || !request.headers.origin.starts_with("http://"), "a page without TLS may write over TLS");
}

/// The request as a session makes it of its parser's: what the header says is taken before the body is read, behind
/// which more headers may come.
std::optional<ClientRequest> parse(std::string_view bytes, const char* remoteAddress) {
  RequestParser parser;
  parser.header_limit(kHeaderLimit);
  parser.body_limit(kBodyLimit);
  auto error = feed(parser, bytes);
  if (!error && !parser.is_header_done()) return std::nullopt;
  if (!error) {
    if (const auto refusal = host::refusalOf(parser.get())) {
      requireRefusal(*refusal, {400, 501});
      return std::nullopt;
    }
    requireOneMeaning(parser.get());
    auto request = host::readRequest(parser.get(), remoteAddress, true);
    requireSoundOrigin(request, parser.get());
    parser.eager(true);
    error = feed(parser, bytes);
    if (!error && parser.is_done()) {
      request.body = std::move(parser.get().body());
      return request;
    }
  }
  if (const auto answer = host::answerTo(error)) requireRefusal(*answer, {400, 413, 431});
  return std::nullopt;
}

std::size_t slashes(std::string_view text) {
  std::size_t count = 0;
  for (const char c : text) {
    if (c == '/') ++count;
  }
  return count;
}

/// A template matches segment by segment: what is fixed in it stands in the path as it is, and no parameter reaches
/// beyond its segment.
void requireExactMatch(std::string_view uriTemplate, std::string_view path,
                       const std::map<std::string, std::string>& parameters) {
  require(slashes(uriTemplate) == slashes(path), "a parameter that reaches over a slash");
  for (const auto& [name, value] : parameters) {
    require(value.find('\0') == std::string::npos, "a parameter with a zero byte");
    require(name.starts_with('{') && name.ends_with('}'), "a parameter without its braces");
  }
  while (!uriTemplate.empty()) {
    const auto segment = uriTemplate.substr(0, uriTemplate.find('/', 1));
    const auto given = path.substr(0, path.find('/', 1));
    require(http::isUriParameter(segment.substr(1)) || http::percentDecode(given) == segment,
            "a path that is none of the template's");
    uriTemplate.remove_prefix(segment.size());
    path.remove_prefix(given.size());
  }
  require(path.empty(), "a path that is longer than the template");
}

void requireSound(const Aim& aim) {
  require(aim.path.starts_with('/'), "a path that does not begin with a slash");
  for (const char c : aim.path) {
    require(c > ' ' && c < 0x7F && c != '?' && c != '#', "a character that no path has");
  }
  for (const char* uriTemplate : kTemplates) {
    if (const auto parameters = http::matchUriTemplate(uriTemplate, aim.path)) {
      requireExactMatch(uriTemplate, aim.path, *parameters);
    }
  }
}

void translate(const ClientRequest& request, const char* prefix) {
  const auto read = host::readAim(request, prefix);
  if (const auto* refusal = std::get_if<Answer>(&read)) return requireRefusal(*refusal, {400});
  const Aim& aim = std::get<Aim>(read);
  requireSound(aim);
  const auto body = host::readBody(request.body);
  if (const auto* refusal = std::get_if<Answer>(&body)) return requireRefusal(*refusal, {400});
  http::Command command(http::Command::Request{aim.verb, request.target, aim.path, request.cookies,
                                               request.remoteAddress, std::get<json::Object>(body)});
  require(command.getRequestVariable("REQUEST_URI") == request.target, "a command with another target");
  require(command.getRestApi().uri() == aim.path, "a command with another path");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  parse(bytes, kElsewhere);
  const auto request = parse(bytes, kHere);
  if (!request) return 0;
  for (const char* prefix : kPrefixes) {
    translate(*request, prefix);
  }
  host::prefersGzip(request->headers.acceptEncoding);
  const bool named = host::namesTag(request->headers.ifNoneMatch, "\"a\"");
  require(!named || request->headers.ifNoneMatch.find_first_of("a*") != std::string::npos, "a tag that nobody named");
  return 0;
}
