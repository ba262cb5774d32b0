#include "host/peers/Peers.h"

#include <exception>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "framework/constants/JsonConstants.h"
#include "framework/http/StatusBlock.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"
#include "host/config/ListenAddress.h"
#include "host/http/Translate.h"
#include "host/net/Address.h"
#include "host/tls/Pem.h"
#include "httpclient/Certificate.h"
#include "json/lookup.h"
#include "json/writer.h"

namespace host {
namespace {

using constants::JsonConstants;
using httpclient::ErrorKind;
using httpclient::ServerCertificate;
using state::PinnedAddress;

constexpr std::size_t kBacklog = 16;
constexpr const char* kFingerprint = "fingerprint";
constexpr const char* kCounter = "peers_fetches";
constexpr const char* kNoHttp = "servers are not called without TLS: the setting peers.allow_http allows it";

/// One of a fixed set, by which calls are counted.
const char* nameOf(const PeerAnswer& answer) {
  if (answer.kind == PeerAnswer::Kind::kRecord) return "ok";
  switch (answer.error) {
    case ErrorKind::kResolve:
      return "name without address";
    case ErrorKind::kUnreachable:
      return "unreachable";
    case ErrorKind::kTimedOut:
      return "timed out";
    case ErrorKind::kCancelled:
      return "called off";
    case ErrorKind::kCertificate:
      return "certificate refused";
    case ErrorKind::kTls:
      return "no TLS";
    case ErrorKind::kForbidden:
      return "address not allowed";
    case ErrorKind::kTooLarge:
      return "answer too large";
    default:
      return answer.kind == PeerAnswer::Kind::kMayPass ? "server in trouble" : "no such server";
  }
}

PeerAnswer refused(std::string text, ErrorKind error) {
  return {PeerAnswer::Kind::kRefused, {}, std::move(text), error};
}

Answer toAnswer(const json::Object& document, int status = 200) {
  Answer answer;
  answer.status = status;
  json::Writer::Write(document, answer.body);
  return answer;
}

json::Object toDocument(const PinnedAddress& address, const state::Pin& pin) {
  json::Object entry;
  entry[JsonConstants::ADDRESS] = json::String(bracketed(address.host) + ":" + std::to_string(address.port));
  entry[kFingerprint] = json::String(pin.fingerprint);
  entry["since"] = json::String(pin.since);
  entry["lastSeen"] = json::String(pin.lastSeen);
  if (pin.offered.empty()) return entry;
  json::Object offered;
  offered[kFingerprint] = json::String(pin.offered);
  offered["since"] = json::String(pin.offeredSince);
  entry["offered"] = offered;
  return entry;
}

/// What the body of trust and forget names.
struct Named {
  PinnedAddress address;
  std::optional<std::string> fingerprint;
};

std::variant<Named, Answer> readNamed(const ClientRequest& request) {
  auto body = readBody(request.body);
  if (auto* refusal = std::get_if<Answer>(&body)) return std::move(*refusal);
  const auto& document = std::get<json::Object>(body);
  const auto address = parseListenAddress(json::textAt(document, {JsonConstants::ADDRESS}));
  if (!address || address->address.empty() || address->port == 0) {
    return failureAnswer(400, "The value \"address\" takes an address and port, such as 192.0.2.7:8443");
  }
  Named named{{canonicalAddress(address->address), address->port}, std::nullopt};
  if (json::find(document, {kFingerprint}) == nullptr) return named;
  named.fingerprint = httpclient::readFingerprint(json::textAt(document, {kFingerprint}));
  if (named.fingerprint) return named;
  return failureAnswer(400, "The value \"fingerprint\" takes SHA256: and 64 hexadecimal digits");
}

Answer describe(PeerTrust::Outcome outcome) {
  switch (outcome) {
    case PeerTrust::Outcome::kDone:
      return toAnswer(http::statusBlock(0, JsonConstants::SUCCESS));
    case PeerTrust::Outcome::kUnknown:
      return failureAnswer(404, "There is no such certificate: GET /1.0/peers lists those that are known");
    case PeerTrust::Outcome::kOther:
      return failureAnswer(409, "The server offers another certificate: look at GET /1.0/peers again");
    default:
      return failureAnswer(500, "It holds until the server ends, but could not be written: see the server's log");
  }
}

}  // namespace

Peers::Peers(const PeerSettings& settings, const state::Directory& directory)
    : mTrust(directory), mLane("kvt-peers", 1, kBacklog) {
  const auto made = makeRules(settings);
  if (!made) throw std::invalid_argument(made.error());
  mRules = *made;
}

Peers::~Peers() = default;

Result<Peers::RulesPtr> Peers::makeRules(const PeerSettings& settings) {
  std::vector<Link> networks;
  for (const std::string& text : settings.allowedNetworks) {
    const auto network = readNetwork(text);
    if (!network) return Failure{"peers.allowed_networks: " + network.error()};
    networks.push_back(*network);
  }
  std::string authorities;
  if (!settings.caFile.empty()) {
    auto text = tls::readPemFile(settings.caFile);
    if (!text) return Failure{"peers.ca_file: " + text.error()};
    authorities = std::move(*text);
    if (!httpclient::holdsCertificates(authorities)) {
      return Failure{"peers.ca_file: there is no certificate in " + settings.caFile + " that can be read"};
    }
  }
  return std::make_shared<const Rules>(
      Rules{PeerPolicy(std::move(networks), ownLinks), std::move(authorities), settings.mayUseHttp});
}

std::optional<std::string> Peers::problemOf(const PeerSettings& settings) {
  const auto made = makeRules(settings);
  return made ? std::nullopt : std::optional(made.error());
}

Result<std::function<void()>> Peers::prepare(const PeerSettings& settings) {
  const auto made = makeRules(settings);
  if (!made) return Failure{made.error()};
  return std::function<void()>([this, next = *made] {
    const std::lock_guard lock(mMutex);
    mRules = next;
  });
}

Peers::RulesPtr Peers::rules() const {
  const std::lock_guard lock(mMutex);
  return mRules;
}

PeerAnswer Peers::ask(const PeerTarget& target, std::chrono::milliseconds limit) {
  PeerAnswer answer = call(*rules(), target, limit);
  utils::observer::counted(kCounter, nameOf(answer));
  return answer;
}

PeerAnswer Peers::call(const Rules& rules, const PeerTarget& target, std::chrono::milliseconds limit) {
  const bool isPlain = target.scheme != "https";
  if (isPlain && !rules.mayUseHttp) return refused(kNoHttp, ErrorKind::kForbidden);
  std::optional<ServerCertificate> shown;
  PeerGuard guard;
  guard.authorities = rules.authorities;
  guard.acceptAddress = [&](const std::string& address) {
    auto refusal = rules.policy.refusal(address);
    return !refusal && isPlain ? mTrust.refusesHttp(address) : refusal;
  };
  if (rules.authorities.empty()) {
    guard.acceptCertificate = [&](const ServerCertificate& certificate) {
      shown = certificate;
      return mTrust.refusesCertificate({certificate.address, target.port}, certificate.fingerprint);
    };
  }
  PeerAnswer answer = askPeer(target, limit, guard);
  if (answer.kind != PeerAnswer::Kind::kRecord || !shown) return answer;
  auto refusal = mTrust.confirm({shown->address, target.port}, shown->fingerprint);
  return refusal ? refused(std::move(*refusal), ErrorKind::kCertificate) : std::move(answer);
}

void Peers::offer(Routes& routes, const char* method, const char* path,
                  std::function<Answer(const ClientRequest&)> work) {
  routes.add(method, path, [this, work = std::move(work)](ClientRequest request, Service::Done done) {
    const auto shared = std::make_shared<const ClientRequest>(std::move(request));
    const bool isTaken = mLane.submit([work, shared, done] {
      try {
        done(work(*shared));
      } catch (const std::exception& error) {
        utils::formatted_log_t(utils::LOG_ERROR, "Peers:offer:%1%") % error.what();
        done(failureAnswer(500, "Internal error"));
      }
    });
    if (!isTaken) done(failureAnswer(503, "The server is busy, try again"));
  });
}

void Peers::addRoutes(Routes& routes) {
  offer(routes, "GET", "/1.0/peers", [this](const ClientRequest&) { return list(); });
  offer(routes, "POST", "/1.0/peers/trust", [this](const ClientRequest& request) { return trust(request); });
  offer(routes, "POST", "/1.0/peers/forget", [this](const ClientRequest& request) { return forget(request); });
}

Answer Peers::list() const {
  json::Array values;
  for (const auto& [address, pin] : mTrust.table()) {
    values.Insert(json::UnknownElement(toDocument(address, pin)));
  }
  json::Object document = http::statusBlock(0, JsonConstants::SUCCESS);
  document["count"] = json::Number(static_cast<double>(values.Size()));
  document["values"] = values;
  return toAnswer(document);
}

Answer Peers::trust(const ClientRequest& request) {
  auto named = readNamed(request);
  if (auto* refusal = std::get_if<Answer>(&named)) return std::move(*refusal);
  const Named& it = std::get<Named>(named);
  return describe(mTrust.trust(it.address, it.fingerprint));
}

Answer Peers::forget(const ClientRequest& request) {
  auto named = readNamed(request);
  if (auto* refusal = std::get_if<Answer>(&named)) return std::move(*refusal);
  const Named& it = std::get<Named>(named);
  return describe(mTrust.forget(it.address));
}

}  // namespace host
