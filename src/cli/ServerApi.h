#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/RestClient.h"
#include "cli/Result.h"
#include "json/elements.h"

namespace cli {

/// The list of servers of one server, as its clients see it. Every call is one or more exchanges in the calling thread.
class ServerApi {
 public:
  explicit ServerApi(RestClient client) : mClient(std::move(client)) {}

  /// Every server of the inventory, the asked one among them.
  Result<std::vector<json::Object>> list() const;
  /// The asked server's own record under its identifier or "self"; of another server, what the inventory holds.
  Result<json::Object> details(std::string_view id) const;
  /// Has the server look for another one at an address or host name; what it found, or why there is none where the
  /// server tells.
  Result<json::Object> search(std::string_view address) const;
  /// Adds a server that was searched for. The answer is the server's.
  Result<json::Object> add(std::string_view idOrAddress) const;
  Result<json::Object> remove(std::string_view idOrAddress) const;

 private:
  Result<json::Object> act(std::string_view action, std::string_view parameter, const std::string& value) const;
  Result<json::Object> actOn(std::string_view action, std::string_view id) const;
  Result<json::Object> inventoryRecord(std::string_view idOrAddress) const;
  /// Why a server is not there for the asked one; "" when that is not told.
  std::string failureAt(std::string_view address) const;

  RestClient mClient;
};

}  // namespace cli
