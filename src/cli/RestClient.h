#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Result.h"
#include "httpclient/HttpClient.h"
#include "json/elements.h"

namespace cli {

/// How a request reaches a server; tests put a function of their own here.
using Exchange = std::function<httpclient::Response(const httpclient::Request&)>;

/// What a person who is not logged in is told, whatever he asked for.
inline constexpr std::string_view kLogInFirst = "log in first: kvtctl login";

/// Exchanges of JSON documents with one server, each in the calling thread. Every failure is in words.
class RestClient {
 public:
  /// `url` is "https://host:port", with whatever prefix the server has; `timeout` bounds each exchange.
  RestClient(Exchange exchange, std::string url, std::chrono::milliseconds timeout);

  /// Without a slash at its end.
  const std::string& url() const { return mUrl; }

  Result<json::Object> get(const std::string& path) const;
  Result<json::Object> post(const std::string& path, const json::Object& body) const;
  Result<json::Object> remove(const std::string& path) const;

  /// One that is made ready, its URL a path below the server's; `totalTimeout` is kept where `onBody` takes the answer.
  httpclient::Response exchange(httpclient::Request request) const;

 private:
  Result<json::Object> send(httpclient::Request request) const;

  Exchange mExchange;
  std::string mUrl;
  std::chrono::milliseconds mTimeout;
};

/// A server's URL without slashes at its end, as it is kept and shown.
std::string tidyUrl(std::string url);

/// A POST of a document, to be sent by `RestClient::exchange`.
httpclient::Request postRequest(const std::string& path, const json::Object& body);

/// The document of an answer of 2xx, else why there is none. A 401 says that one has to log in first.
Result<json::Object> readAnswer(const httpclient::Response& response, const std::string& url);

/// What a status block says, "" without one. Some resources answer with a list of them.
std::string statusText(const json::Object& answer);

/// The elements of a member that are objects; nothing when it is no list.
std::optional<std::vector<json::Object>> objectsAt(const json::Object& answer, std::string_view member);

/// The value of the first header line of that name, in any case of letters; "" without one.
std::string headerOf(const httpclient::Response& response, std::string_view name);

/// One segment of a path: what a path cannot hold as it is becomes "%2F" and the like.
std::string encodeSegment(std::string_view segment);

}  // namespace cli
