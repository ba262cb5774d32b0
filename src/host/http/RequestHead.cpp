#include "host/http/RequestHead.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include <boost/beast/http.hpp>

#include "host/http/DefaultHeaders.h"

namespace host {
namespace {

namespace web = boost::beast::http;

constexpr std::size_t kMaxLoggedText = 200;

/// Headers that decide who asks and on whose behalf. Of two of them each reader may choose another.
constexpr std::array kSingleHeaders{"Authorization", "Host", "Origin", "X-CSRF-Token", "Sec-Fetch-Site"};

/// All headers of one name.
std::string joined(const RequestMessage& message, std::string_view name, const char* separator) {
  std::string text;
  const auto [first, last] = message.equal_range({name.data(), name.size()});
  for (auto field = first; field != last; ++field) {
    if (!text.empty()) text += separator;
    text.append(field->value().data(), field->value().size());
  }
  return text;
}

/// Whether a header is one that proxies add, whatever its value.
bool isOfProxy(boost::beast::string_view name) {
  constexpr std::string_view kForwarded = "X-Forwarded-";
  return boost::beast::iequals(name, "Via") || boost::beast::iequals(name, "Forwarded") ||
         boost::beast::iequals(name, "X-Real-IP") ||
         boost::beast::iequals(name.substr(0, kForwarded.size()), {kForwarded.data(), kForwarded.size()});
}

RequestHeaders headersOf(const RequestMessage& message) {
  const auto list = [&](std::string_view name) { return joined(message, name, ", "); };
  RequestHeaders headers;
  headers.acceptEncoding = list("Accept-Encoding");
  headers.authorization = list("Authorization");
  headers.csrfToken = list("X-CSRF-Token");
  headers.host = list("Host");
  headers.ifNoneMatch = list("If-None-Match");
  headers.isForwarded =
      std::any_of(message.begin(), message.end(), [](const auto& field) { return isOfProxy(field.name_string()); });
  headers.origin = list("Origin");
  headers.fetchSite = list("Sec-Fetch-Site");
  return headers;
}

std::string httpDate() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 40> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &utc);
  return {text.data(), length};
}

void setHeaders(ResponseMessage& response, const Answer& answer, bool isSecure) {
  response.set(web::field::server, "kvt-server");
  response.set(web::field::date, httpDate());
  for (const auto& [name, value] : defaultHeaders(isSecure)) {
    response.set(name, value);
  }
  for (const auto& [name, value] : answer.headers) {
    if (boost::beast::iequals(name, "Set-Cookie")) {
      response.insert(name, value);
    } else {
      response.set(name, value);
    }
  }
}

}  // namespace

std::optional<Answer> refusalOf(const RequestMessage& message) {
  const auto encoding = message.find(web::field::transfer_encoding);
  if (encoding != message.end() && message.version() < 11) {  // RFC 9112 section 6.1
    return failureAnswer(400, "The request has a Transfer-Encoding, which HTTP/1.0 does not know");
  }
  if (encoding != message.end() && !boost::beast::iequals(encoding->value(), "chunked")) {
    return failureAnswer(501, "The transfer encoding is not known");
  }
  if (message.version() >= 11 && message.find(web::field::host) == message.end()) {
    return failureAnswer(400, "The request has no Host header");
  }
  for (const char* name : kSingleHeaders) {
    if (message.count(name) > 1) return failureAnswer(400, std::string("The request has several headers ") + name);
  }
  return std::nullopt;
}

ClientRequest readRequest(const RequestMessage& message, const std::string& remoteAddress, bool isSecure) {
  ClientRequest request{std::string(message.method_string()), std::string(message.target()),
                        joined(message, "Cookie", "; "), "", remoteAddress};
  request.headers = headersOf(message);
  request.isSecure = isSecure;
  return request;
}

std::optional<Answer> answerTo(boost::system::error_code error) {
  if (error == web::error::body_limit) return failureAnswer(413, "The body is too large");
  if (error == web::error::header_limit || error == web::error::buffer_overflow) {
    return failureAnswer(431, "The header is too large");
  }
  const bool ended = error == web::error::end_of_stream || error == web::error::partial_message;
  if (ended || error.category() != make_error_code(web::error::bad_method).category()) return std::nullopt;
  return failureAnswer(400, "The request is malformed: " + error.message());
}

ResponseMessage makeResponse(Answer answer, unsigned int version, bool isSecure, bool close) {
  ResponseMessage response(static_cast<web::status>(answer.status), version);
  setHeaders(response, answer, isSecure);
  response.keep_alive(!close);
  if (answer.stream) {
    response.chunked(version >= 11);
  } else if (response.result() == web::status::no_content || response.result() == web::status::not_modified) {
    response.erase(web::field::content_type);
  } else {
    response.body() = std::move(answer.body);
    response.prepare_payload();
  }
  return response;
}

std::string printable(std::string_view text) {
  std::string result(text.substr(0, kMaxLoggedText));
  for (char& c : result) {
    if (c < 0x20 || c == 0x7F) c = '?';
  }
  return result;
}

}  // namespace host
