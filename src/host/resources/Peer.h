#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "httpclient/HttpClient.h"
#include "json/elements.h"

namespace host {

/// Where another server may answer.
struct PeerTarget {
  std::string host;  ///< an address, or a name to look up
  std::uint16_t port = 0;
  std::string scheme = "http";

  friend bool operator==(const PeerTarget&, const PeerTarget&) = default;
};

/// What asking it came to.
struct PeerAnswer {
  enum class Kind {
    kRecord,    ///< it is a server of our kind; `record` holds what it told
    kMayPass,   ///< nothing is proven: no connection, too slow, in trouble, or we are shutting down
    kNoServer,  ///< what answers there is no server of our kind
    kRefused    ///< we do not call it, or do not trust its certificate
  };
  Kind kind = Kind::kMayPass;
  json::Object record;  ///< with the properties at its top and the contacted address in it
  std::string text;     ///< what happened, in words
  httpclient::ErrorKind error = httpclient::ErrorKind::kNone;
};

/// Judges an answer to a request for details. `host` is what was asked for; `record` notes it as the contacted address
/// when it is an address, else the one that the name led to.
PeerAnswer judge(const httpclient::Response& response, const std::string& host);

/// Whom a call may reach; each as in httpclient::Request.
struct PeerGuard {
  std::string authorities;
  std::function<std::optional<std::string>(const httpclient::ServerCertificate&)> acceptCertificate;
  std::function<std::optional<std::string>(const std::string&)> acceptAddress;
};

/// Asks one server for its details, within `limit`. Ends at once when the host is shutting down.
PeerAnswer askPeer(const PeerTarget& target, std::chrono::milliseconds limit, const PeerGuard& guard);

/// How servers are asked by whoever wants the details of one.
using AskPeer = std::function<PeerAnswer(const PeerTarget&, std::chrono::milliseconds)>;

/// Asks by `ask` until one target gives a record that `accept` takes. The first target is the one that counts: when it
/// proves to be no server, or is refused, that is the result at once, while the others are just further ways to it.
/// What may pass is tried again, a few times, for at most five seconds altogether.
PeerAnswer askInTurn(const std::vector<PeerTarget>& targets, const AskPeer& ask,
                     const std::function<bool(const json::Object&)>& accept);

}  // namespace host
