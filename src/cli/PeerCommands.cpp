#include "cli/PeerCommands.h"

#include "cli/Output.h"
#include "cli/Table.h"
#include "cli/Text.h"
#include "cli/WireNames.h"
#include "httpclient/Certificate.h"
#include "json/lookup.h"

namespace cli {
namespace {

std::string orDash(const std::string& text) {
  return text.empty() ? "-" : text;
}

Result<std::string> list(const Options& options, const RestClient& client) {
  const auto answer = client.get("/1.0/peers");
  if (!answer) return answer.failure();
  const auto peers = objectsAt(*answer, wire::kValues);
  if (!peers) return Failure{ExitCode::kNonsense, "the answer holds no list of peers"};
  if (options.format == Format::kJson) return jsonText(*peers);
  Table table({"ADDRESS", "CERTIFICATE", "SINCE", "LAST SEEN", "NOW OFFERS"});
  for (const json::Object& peer : *peers) {
    table.add({json::textAt(peer, {wire::kAddress}), orDash(json::textAt(peer, {wire::kFingerprint})),
               orDash(json::textAt(peer, {wire::kSince})), orDash(json::textAt(peer, {wire::kLastSeen})),
               orDash(json::textAt(peer, {wire::kOffered, wire::kFingerprint}))});
  }
  return table.text();
}

Result<std::string> change(const Options& options, const RestClient& client, const char* path, const char* done) {
  json::Object body;
  body[wire::kAddress] = json::String(options.peers->address);
  if (!options.peers->fingerprint.empty()) {
    const auto fingerprint = httpclient::readFingerprint(options.peers->fingerprint);
    if (!fingerprint) return Failure{ExitCode::kUsage, "a fingerprint is SHA256: and 64 hexadecimal digits"};
    body[wire::kFingerprint] = json::String(*fingerprint);
  }
  const auto answer = client.post(path, body);
  if (!answer) return answer.failure();
  if (options.format == Format::kJson) return jsonText(*answer);
  return neutralise(options.peers->address + ": " + done) + "\n";
}

Result<std::string> output(const Options& options, const RestClient& client) {
  switch (options.peers->command) {
    case PeerCommand::kList:
      return list(options, client);
    case PeerCommand::kTrust:
      return change(options, client, "/1.0/peers/trust", "trusted");
    case PeerCommand::kForget:
      return change(options, client, "/1.0/peers/forget", "forgotten");
  }
  return Failure{ExitCode::kUsage, "no such command"};
}

}  // namespace

ExitCode runPeerCommand(const Options& options, const RestClient& client, std::ostream& out, std::ostream& err) {
  return conclude(output(options, client), out, err);
}

}  // namespace cli
