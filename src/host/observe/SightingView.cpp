#include "host/observe/SightingView.h"

#include <array>
#include <ctime>

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
    times["first"] = timeText(span->first);
    times["last"] = timeText(span->last);
    sources[kSourceNames[i]] = std::move(times);
  }
  return sources;
}

}  // namespace

json::String timeText(KnownServer::Time time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return {};
  char text[sizeof "-2147483648-12-31T23:59:60Z"];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

json::Object sightingDocument(const KnownServer& server) {
  json::Object document;
  document["address"] = json::String(server.address);
  document["displayId"] = json::String(server.displayId);
  document["state"] = json::String(stateName(server.state));
  document["sources"] = sourcesDocument(server);
  if (server.verified) document["verified"] = timeText(*server.verified);
  if (server.failed) document["failed"] = timeText(*server.failed);
  document["reason"] = json::String(server.reason);
  return document;
}

}  // namespace host
