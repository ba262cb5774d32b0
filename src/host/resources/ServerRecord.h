#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/utils/System.h"
#include "host/net/Endpoint.h"
#include "json/elements.h"

namespace host {

/// Name and version of the operating system.
struct OsRelease {
  std::string name;
  std::string version;
};

/// Reads the text of /etc/os-release.
OsRelease parseOsRelease(std::string_view text);

/// What the server tells about itself. Nothing here changes by itself: every change makes it register anew.
struct ServerFacts {
  std::string id;
  std::string_view version;  ///< "major.minor.patch"
  OsRelease os;
  std::vector<utils::NetworkInterface> interfaces;
  std::vector<Endpoint> endpoints;
};

/// "008.<major>.<minor>" of "major.minor.patch".
std::string serverBuild(std::string_view version);

/// The server's record: an object that holds the properties and nothing else, because peers check its digest over the
/// properties alone.
json::Object makeServerRecord(const ServerFacts& facts);

/// Notes in a record the address under which the server was reached.
void setLastCommunicatedIp(json::Object& record, const std::string& address);

}  // namespace host
