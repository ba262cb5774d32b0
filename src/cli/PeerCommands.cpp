#include "cli/PeerCommands.h"

#include "cli/Output.h"
#include "cli/ServerApi.h"
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

std::string withoutPort(const std::string& address) {
  return address.substr(0, address.rfind(':'));
}

Result<json::Object> change(const Options& options, const RestClient& client, const char* path) {
  json::Object body;
  body[wire::kAddress] = json::String(options.peers->address);
  if (!options.peers->fingerprint.empty()) {
    const auto fingerprint = httpclient::readFingerprint(options.peers->fingerprint);
    if (!fingerprint) return Failure{ExitCode::kUsage, "a fingerprint is SHA256: and 64 hexadecimal digits"};
    body[wire::kFingerprint] = json::String(*fingerprint);
  }
  return client.post(path, body);
}

/// An address that has failed is left alone by discovery until a search finds it again.
Result<std::string> trust(const Options& options, const RestClient& client) {
  const auto answer = change(options, client, "/1.0/peers/trust");
  if (!answer) return answer.failure();
  const auto found = ServerApi(client).search(withoutPort(options.peers->address));
  if (options.format == Format::kJson) return jsonText(*answer);
  return neutralise(options.peers->address + ": trusted, " +
                    (found ? "and it answers" : "but " + found.failure().message)) +
         "\n";
}

Result<std::string> forget(const Options& options, const RestClient& client) {
  const auto answer = change(options, client, "/1.0/peers/forget");
  if (!answer) return answer.failure();
  if (options.format == Format::kJson) return jsonText(*answer);
  return neutralise(options.peers->address + ": forgotten") + "\n";
}

Result<std::string> output(const Options& options, const RestClient& client) {
  switch (options.peers->command) {
    case PeerCommand::kList:
      return list(options, client);
    case PeerCommand::kTrust:
      return trust(options, client);
    case PeerCommand::kForget:
      return forget(options, client);
  }
  return Failure{ExitCode::kUsage, "no such command"};
}

}  // namespace

ExitCode runPeerCommand(const Options& options, const RestClient& client, std::ostream& out, std::ostream& err) {
  return conclude(output(options, client), out, err);
}

}  // namespace cli
