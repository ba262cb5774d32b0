#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>

#include "framework/http/Command.h"
#include "framework/http/UriTemplate.h"
#include "host/http/ContentCoding.h"
#include "host/http/EntityTag.h"
#include "host/http/Translate.h"
#include "json/reader.h"

// From the bytes of a connection to a command: whatever gets as far as a resource was aimed at exactly that resource,
// and every refusal is a document.
namespace {

namespace web = boost::beast::http;
using host::Aim;
using host::Answer;
using host::ClientRequest;

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

/// The request as the front makes it of its parser's.
std::optional<ClientRequest> parse(std::string_view bytes) {
  web::request_parser<web::string_body> parser;
  parser.header_limit(kHeaderLimit);
  parser.body_limit(kBodyLimit);
  parser.eager(true);
  boost::system::error_code error;
  while (!bytes.empty() && !parser.is_done()) {
    const std::size_t taken = parser.put(boost::asio::buffer(bytes.data(), bytes.size()), error);
    if (error || taken == 0) return std::nullopt;
    bytes.remove_prefix(taken);
  }
  if (!parser.is_done()) return std::nullopt;
  auto& message = parser.get();
  ClientRequest request{std::string(message.method_string()), std::string(message.target()),
                        std::string(message[web::field::cookie]), std::move(message.body()), "192.0.2.7"};
  request.headers.acceptEncoding = std::string(message[web::field::accept_encoding]);
  request.headers.ifNoneMatch = std::string(message[web::field::if_none_match]);
  return request;
}

void requireRefusal(const Answer& answer) {
  require(answer.status == 400, "a refusal with another status");
  json::Object document;
  json::Reader::Read(document, answer.body);  // throws for what is none
  require(document.Find("status") != document.End(), "a refusal without its block");
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
  if (const auto* refusal = std::get_if<Answer>(&read)) return requireRefusal(*refusal);
  const Aim& aim = std::get<Aim>(read);
  requireSound(aim);
  const auto body = host::readBody(request.body);
  if (const auto* refusal = std::get_if<Answer>(&body)) return requireRefusal(*refusal);
  http::Command command(http::Command::Request{aim.verb, request.target, aim.path, request.cookies,
                                               request.remoteAddress, std::get<json::Object>(body)});
  require(command.getRequestVariable("REQUEST_URI") == request.target, "a command with another target");
  require(command.getRestApi().uri() == aim.path, "a command with another path");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto request = parse({reinterpret_cast<const char*>(data), size});
  if (!request) return 0;
  for (const char* prefix : kPrefixes) {
    translate(*request, prefix);
  }
  host::prefersGzip(request->headers.acceptEncoding);
  const bool named = host::namesTag(request->headers.ifNoneMatch, "\"a\"");
  require(!named || request->headers.ifNoneMatch.find_first_of("a*") != std::string::npos, "a tag that nobody named");
  return 0;
}
