#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Result.h"
#include "httpclient/HttpClient.h"
#include "json/elements.h"

namespace cli {

/// How a request reaches a server; tests put a function of their own here.
using Exchange = std::function<httpclient::Response(const httpclient::Request&)>;

/// The REST API of one server, as its clients see it. Every call is one or more exchanges in the calling thread.
class ServerApi {
 public:
  /// `url` is "http://host:port", with whatever prefix the server has; `timeout` bounds each exchange.
  ServerApi(Exchange exchange, std::string url, std::chrono::milliseconds timeout);

  /// Every server of the inventory, the asked one among them.
  Result<std::vector<json::Object>> list() const;
  /// The asked server's own record under its identifier or "self"; of another server, what the inventory holds.
  Result<json::Object> details(std::string_view id) const;
  /// Has the server look for another one at an address or host name; what it found.
  Result<json::Object> search(std::string_view address) const;
  /// Adds a server that was searched for. The answer is the server's.
  Result<json::Object> add(std::string_view idOrAddress) const;
  Result<json::Object> remove(std::string_view idOrAddress) const;

 private:
  Result<json::Object> get(const std::string& path) const;
  Result<json::Object> act(std::string_view action, std::string_view parameter, const std::string& value) const;
  Result<json::Object> send(httpclient::Request request) const;
  Result<json::Object> actOn(std::string_view action, std::string_view id) const;
  Result<json::Object> inventoryRecord(std::string_view idOrAddress) const;

  Exchange mExchange;
  std::string mUrl;
  std::chrono::milliseconds mTimeout;
};

/// One segment of a path: what a path cannot hold as it is becomes "%2F" and the like.
std::string encodeSegment(std::string_view segment);

}  // namespace cli
