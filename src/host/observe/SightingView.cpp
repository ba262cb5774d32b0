#include "host/observe/SightingView.h"

#include <array>

#include "host/IsoTime.h"

namespace host {
namespace {

/// In the order of utils::Sighting::Source.
constexpr std::array<const char*, KnownServer::kSources> kSourceNames{"announcement", "slp", "search", "hand"};

const char* stateName(KnownServer::State state) {
  switch (state) {
    case KnownServer::State::kSeen:
      return "seen";
    case KnownServer::State::kVerified:
      return "verified";
    case KnownServer::State::kFailed:
      return "failed";
    case KnownServer::State::kLeft:
      return "left";
  }
  return "";
}

json::Object sourcesDocument(const KnownServer& server) {
  json::Object sources;
  for (std::size_t i = 0; i < kSourceNames.size(); ++i) {
    const auto& span = server.sources[i];
    if (!span) continue;
    json::Object times;
    times["first"] = json::String(isoTime(span->first));
    times["last"] = json::String(isoTime(span->last));
    sources[kSourceNames[i]] = std::move(times);
  }
  return sources;
}

}  // namespace

json::Object sightingDocument(const KnownServer& server) {
  json::Object document;
  document["address"] = json::String(server.address);
  document["displayId"] = json::String(server.displayId);
  document["state"] = json::String(stateName(server.state));
  document["sources"] = sourcesDocument(server);
  if (server.verified) document["verified"] = json::String(isoTime(*server.verified));
  if (server.failed) document["failed"] = json::String(isoTime(*server.failed));
  document["reason"] = json::String(server.reason);
  return document;
}

}  // namespace host
