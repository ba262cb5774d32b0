#include "cli/RestClient.h"

#include <algorithm>
#include <utility>

#include "cli/WireNames.h"
#include "json/lookup.h"
#include "json/reader.h"
#include "json/writer.h"

namespace cli {
namespace {

constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;
constexpr int kServerTrouble = 500;                       // statuses from here on say nothing of what was asked for
constexpr std::size_t kLargestAnswer = 64 * 1024 * 1024;  // an inventory of 10,000 servers takes some 10 MB

Failure transportFailure(const httpclient::Response& response, const std::string& url) {
  switch (response.error) {
    case httpclient::ErrorKind::kBadUrl:
      return {ExitCode::kUsage, "not a server's URL: " + url};
    case httpclient::ErrorKind::kTooLarge:
    case httpclient::ErrorKind::kMalformed:
      return {ExitCode::kNonsense, "no answer of such a server from " + url + ": " + response.errorText};
    case httpclient::ErrorKind::kCertificate:
      return {ExitCode::kNonsense, response.errorText};
    default:
      return {ExitCode::kUnreachable, "cannot reach " + url + ": " + response.errorText};
  }
}

/// What an answer in plain text says first; "" for another kind of answer.
std::string firstLine(const httpclient::Response& response) {
  if (!headerOf(response, "Content-Type").starts_with("text/plain")) return "";
  return response.body.substr(0, response.body.find_first_of("\r\n"));
}

char lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

RestClient::RestClient(Exchange exchange, std::string url, std::chrono::milliseconds timeout)
    : mExchange(std::move(exchange)), mUrl(tidyUrl(std::move(url))), mTimeout(timeout) {}

Result<json::Object> RestClient::get(const std::string& path) const {
  httpclient::Request request;
  request.url = path;
  return send(std::move(request));
}

Result<json::Object> RestClient::post(const std::string& path, const json::Object& body) const {
  return send(postRequest(path, body));
}

Result<json::Object> RestClient::remove(const std::string& path) const {
  httpclient::Request request;
  request.method = "DELETE";
  request.url = path;
  return send(std::move(request));
}

httpclient::Response RestClient::exchange(httpclient::Request request) const {
  request.url = mUrl + request.url;
  request.connectTimeout = std::min(request.connectTimeout, mTimeout);
  if (!request.onBody) request.totalTimeout = mTimeout;
  request.maxBodyBytes = kLargestAnswer;
  return mExchange(request);
}

Result<json::Object> RestClient::send(httpclient::Request request) const {
  return readAnswer(exchange(std::move(request)), mUrl);
}

std::string tidyUrl(std::string url) {
  while (!url.empty() && url.back() == '/')
    url.pop_back();
  return url;
}

httpclient::Request postRequest(const std::string& path, const json::Object& body) {
  httpclient::Request request;
  request.method = "POST";
  request.url = path;
  request.headers = {"Content-Type: application/json"};
  json::Writer::Write(body, request.body);
  return request;
}

Result<json::Object> readAnswer(const httpclient::Response& response, const std::string& url) {
  if (response.error != httpclient::ErrorKind::kNone) return transportFailure(response, url);
  if (response.status == kUnauthorized) return Failure{ExitCode::kNotAllowed, std::string(kLogInFirst)};
  json::Object answer;
  const std::string status = "HTTP status " + std::to_string(response.status);
  try {
    json::Reader::Read(answer, response.body);
  } catch (const json::Exception& e) {
    if (const std::string line = firstLine(response); !line.empty())
      return Failure{ExitCode::kNonsense, status + ": " + line};
    return Failure{ExitCode::kNonsense, status + " with a body that is no JSON object: " + e.what()};
  }
  if (response.ok()) return answer;
  const std::string text = statusText(answer);
  if (text.empty()) return Failure{ExitCode::kNonsense, status + " without a word why"};
  if (response.status >= kServerTrouble)
    return Failure{ExitCode::kUnreachable, "the server cannot answer now: " + text};
  return Failure{response.status == kForbidden ? ExitCode::kNotAllowed : ExitCode::kRefused, text};
}

std::string statusText(const json::Object& answer) {
  if (const json::Array* blocks = json::arrayAt(answer, {wire::kStatus})) {
    if (blocks->Empty()) return "";
    const auto* first = (*blocks)[0].getIf<json::Object>();
    return first != nullptr ? json::textAt(*first, {wire::kDesc}) : "";
  }
  return json::textAt(answer, {wire::kStatus, wire::kDesc});
}

std::optional<std::vector<json::Object>> objectsAt(const json::Object& answer, std::string_view member) {
  const json::Array* values = json::arrayAt(answer, {member});
  if (values == nullptr) return std::nullopt;
  std::vector<json::Object> objects;
  for (const json::UnknownElement& value : *values) {
    if (const auto* object = value.getIf<json::Object>()) objects.push_back(*object);
  }
  return objects;
}

std::string headerOf(const httpclient::Response& response, std::string_view name) {
  for (const std::string_view line : response.headers) {
    const std::size_t colon = line.find(':');
    if (colon != name.size() ||
        !std::equal(name.begin(), name.end(), line.begin(), [](char a, char b) { return lowered(a) == lowered(b); })) {
      continue;
    }
    const std::size_t begin = line.find_first_not_of(" \t", colon + 1);
    return begin == std::string_view::npos ? "" : std::string(line.substr(begin));
  }
  return "";
}

std::string encodeSegment(std::string_view segment) {
  constexpr std::string_view kUnreserved = "-._~:";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char letter : segment) {
    const auto byte = static_cast<unsigned char>(letter);
    const bool alphanumeric =
        (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
    if (alphanumeric || kUnreserved.find(letter) != std::string_view::npos) {
      encoded += letter;
    } else {
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return encoded;
}

}  // namespace cli
