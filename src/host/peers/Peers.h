#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/Result.h"
#include "host/config/Settings.h"
#include "host/http/Lane.h"
#include "host/http/Routes.h"
#include "host/peers/PeerPolicy.h"
#include "host/peers/PeerTrust.h"
#include "host/resources/Peer.h"
#include "state/Directory.h"

namespace host {

/// How this server calls others: at which addresses, with which certificates, and whether without TLS. Every call to
/// another server goes through here. Safe for every thread.
class Peers {
 public:
  /// The directory must outlive it. Throws std::invalid_argument for settings that make no sense; whoever wants to know
  /// before asks `problemOf`.
  Peers(const PeerSettings& settings, const state::Directory& directory);
  ~Peers();
  Peers(const Peers&) = delete;
  Peers& operator=(const Peers&) = delete;

  /// What is wrong with settings, the file that they name included, in words for the operator; nothing usually.
  static std::optional<std::string> problemOf(const PeerSettings& settings);

  /// Reads new settings and changes nothing yet; calls that begin after the result was called go by them. The failure
  /// says what is wrong with them. The result must not outlive this.
  Result<std::function<void()>> prepare(const PeerSettings& settings);

  /// Asks a server for its details, within `limit`. The refusal of an address or certificate is an answer of the kind
  /// kRefused.
  PeerAnswer ask(const PeerTarget& target, std::chrono::milliseconds limit);

  /// The pins for the administrator: GET /1.0/peers, POST /1.0/peers/trust and /1.0/peers/forget.
  void addRoutes(Routes& routes);
  /// Returns when no route is being answered any more; those that come are answered 503.
  void close() { mLane.close(); }

 private:
  /// Immutable, so that a call goes by one set of rules from its beginning to its end.
  struct Rules {
    PeerPolicy policy;
    std::string authorities;  ///< PEM; "": certificates are pinned
    bool mayUseHttp;
  };
  using RulesPtr = std::shared_ptr<const Rules>;

  static Result<RulesPtr> makeRules(const PeerSettings& settings);
  RulesPtr rules() const;
  PeerAnswer call(const Rules& rules, const PeerTarget& target, std::chrono::milliseconds limit);
  void offer(Routes& routes, const char* method, const char* path, std::function<Answer(const ClientRequest&)> work);
  Answer list() const;
  Answer trust(const ClientRequest& request);
  Answer forget(const ClientRequest& request);

  PeerTrust mTrust;
  mutable std::mutex mMutex;
  RulesPtr mRules;
  Lane mLane;  ///< writes to the disk are nothing for the front's thread
};

}  // namespace host
