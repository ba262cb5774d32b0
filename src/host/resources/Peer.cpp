#include "host/resources/Peer.h"

#include <algorithm>
#include <optional>
#include <thread>
#include <utility>

#include "framework/constants/JsonConstants.h"
#include "framework/utils/Shutdown.h"
#include "host/Version.h"
#include "host/net/Address.h"
#include "host/resources/ServerRecord.h"
#include "json/lookup.h"
#include "json/reader.h"

namespace host {
namespace {

using constants::JsonConstants;
using httpclient::ErrorKind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* kDetailsPath = "/1.0/servers/self";
constexpr milliseconds kConnectTime{2000};
constexpr milliseconds kTotalTime{5000};
constexpr std::size_t kMaxAnswerBytes = 1024 * 1024;
constexpr int kRounds = 3;
constexpr milliseconds kPause{200};
constexpr milliseconds kPausePoll{20};

PeerAnswer mayPass(std::string text, ErrorKind error = ErrorKind::kNone) {
  return {PeerAnswer::Kind::kMayPass, {}, std::move(text), error};
}

PeerAnswer refused(std::string text, ErrorKind error) {
  return {PeerAnswer::Kind::kRefused, {}, std::move(text), error};
}

PeerAnswer noServer(std::string text, ErrorKind error = ErrorKind::kNone) {
  return {PeerAnswer::Kind::kNoServer, {}, std::move(text), error};
}

PeerAnswer judgeFailure(const httpclient::Response& response) {
  switch (response.error) {
    case ErrorKind::kBadUrl:
    case ErrorKind::kTooLarge:
    case ErrorKind::kMalformed:
      return noServer(response.errorText, response.error);
    case ErrorKind::kCertificate:
    case ErrorKind::kForbidden:
      return refused(response.errorText, response.error);
    default:
      return mayPass(response.errorText, response.error);
  }
}

/// The record inside an answer; nothing when there is none.
std::optional<json::Object> readRecord(const std::string& body) {
  try {
    json::Object document;
    json::Reader::Read(document, body);
    const json::Object* record = json::objectAt(document, {JsonConstants::VALUE});
    if (record == nullptr || json::objectAt(*record, {JsonConstants::PROPERTIES}) == nullptr) return std::nullopt;
    return *record;
  } catch (const json::Exception&) {
    return std::nullopt;
  }
}

/// False when the host began to shut down meanwhile.
bool pause() {
  const auto end = steady_clock::now() + kPause;
  while (!utils::shutdown::inProgress() && steady_clock::now() < end) {
    std::this_thread::sleep_for(kPausePoll);
  }
  return !utils::shutdown::inProgress();
}

}  // namespace

PeerAnswer judge(const httpclient::Response& response, const std::string& host) {
  if (response.error != ErrorKind::kNone) return judgeFailure(response);
  const std::string status = "it answered with HTTP status " + std::to_string(response.status);
  if (response.status >= 500) return mayPass(status);
  if (response.status != 200) return noServer(status);
  auto record = readRecord(response.body);
  if (!record) return noServer("its answer is no server's record");
  setLastCommunicatedIp(*record, isIpAddress(host) ? host : response.primaryIp);
  return {PeerAnswer::Kind::kRecord, std::move(*record), "", ErrorKind::kNone};
}

PeerAnswer askPeer(const PeerTarget& target, milliseconds limit, const PeerGuard& guard) {
  httpclient::Request request;
  request.url = httpclient::makeUrl(target.scheme, target.host, target.port, kDetailsPath);
  request.headers = {"Accept: application/json", "User-Agent: kvt-server/" + std::string(kVersion)};
  if (isIpAddress(target.host)) request.cookie = "lastCommunicatedNIC=" + target.host;
  request.connectTimeout = std::min(kConnectTime, limit);
  request.totalTimeout = limit;
  request.maxBodyBytes = kMaxAnswerBytes;
  request.authorities = guard.authorities;
  request.acceptCertificate = guard.acceptCertificate;
  request.acceptAddress = guard.acceptAddress;
  request.cancelled = [] { return utils::shutdown::inProgress(); };
  return judge(httpclient::perform(request), target.host);
}

PeerAnswer askInTurn(const std::vector<PeerTarget>& targets, const AskPeer& ask,
                     const std::function<bool(const json::Object&)>& accept) {
  const auto deadline = steady_clock::now() + kTotalTime;
  PeerAnswer result = mayPass("there is no address to ask");
  for (int round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < targets.size(); ++i) {
      const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
      if (left.count() <= 0 || utils::shutdown::inProgress()) return result;
      PeerAnswer answer = ask(targets[i], left);
      if (answer.kind == PeerAnswer::Kind::kRecord && (i == 0 || accept(answer.record))) return answer;
      if (i > 0) continue;
      result = std::move(answer);
      if (result.kind != PeerAnswer::Kind::kMayPass) return result;
    }
    if (targets.empty() || steady_clock::now() + kPause >= deadline) return result;
    if (round + 1 < kRounds && !pause()) return result;
  }
  return result;
}

}  // namespace host
