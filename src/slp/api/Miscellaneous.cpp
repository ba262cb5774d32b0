#include <algorithm>
#include <limits>
#include <utility>

#include "slp/api/Allocation.h"
#include "slp/api/Arguments.h"
#include "slp/api/Library.h"
#include "slp/config/Log.h"
#include "slp/net/Traffic.h"
#include "slp/wire/AttributeList.h"
#include "slp/wire/StringList.h"

namespace slp::api {
namespace {

/// The configured scopes first, then those that directory agents have told (RFC 2614, section 3.12); each once.
std::string knownScopes(Library& library) {
  const std::string configured = library.properties.settings().scopes;
  const std::vector<client::DirectoryAgent> agents = library.directoryAgents.all();
  std::vector<std::string_view> lists{configured};
  for (const client::DirectoryAgent& agent : agents)
    lists.emplace_back(agent.scopes);
  const std::string scopes = wire::merged(lists);
  return scopes.empty() ? "DEFAULT" : scopes;
}

int refreshIntervalOf(const client::DirectoryAgent& agent) {
  const wire::AttributeList attributes(agent.attributes);
  const wire::Attribute* const interval = attributes.find("min-refresh-interval");
  if (interval == nullptr || interval->values.empty()) return 0;
  const wire::AttributeValue& value = interval->values.front();
  return value.kind == wire::ValueKind::kInteger ? value.integer : 0;
}

unsigned short refreshInterval(const Library& library) {
  int longest = 0;
  for (const client::DirectoryAgent& agent : library.directoryAgents.all())
    longest = std::max(longest, refreshIntervalOf(agent));
  return static_cast<unsigned short>(std::min<int>(longest, std::numeric_limits<unsigned short>::max()));
}

int syslogLevel(config::LogLevel level) {
  switch (level) {
    case config::LogLevel::kWarning:
      return 4;
    case config::LogLevel::kInfo:
      return 6;
    case config::LogLevel::kDebug:
      break;
  }
  return 7;
}

config::LogSink sinkOf(SLPLogCallback* callback, void* cookie) {
  if (callback == nullptr) return nullptr;
  return [callback, cookie](config::LogLevel level, std::string_view text) {
    callback(syslogLevel(level), std::string(text).c_str(), cookie);
  };
}

SLPMessageFate fateOf(net::Fate fate) {
  switch (fate) {
    case net::Fate::kSent:
      return SLP_MESSAGE_SENT;
    case net::Fate::kReceived:
      return SLP_MESSAGE_RECEIVED;
    case net::Fate::kDropped:
      break;
  }
  return SLP_MESSAGE_DROPPED;
}

net::TrafficCounter counterOf(SLPCounterCallback* callback, void* cookie) {
  if (callback == nullptr) return nullptr;
  return [callback, cookie](net::Fate fate, const char* kind) { callback(fateOf(fate), kind, cookie); };
}

}  // namespace
}  // namespace slp::api

using namespace slp;
using namespace slp::api;

unsigned short SLPGetRefreshInterval(void) {
  unsigned short interval = 0;
  static_cast<void>(withLibrary([&](Library& library) {
    interval = refreshInterval(library);
    return SLP_OK;
  }));
  return interval;
}

SLPError SLPFindScopes(SLPHandle hSLP, char** ppcScopeList) {
  if (ppcScopeList != nullptr) *ppcScopeList = nullptr;
  return withHandle(hSLP, [&](Library& library, Handle&, Call&) -> SLPError {
    if (ppcScopeList == nullptr) return SLP_PARAMETER_BAD;
    *ppcScopeList = copyOf(knownScopes(library));
    return SLP_OK;
  });
}

const char* SLPGetProperty(const char* pcName) {
  const char* value = nullptr;
  static_cast<void>(withLibrary([&](Library& library) -> SLPError {
    const std::optional<std::string> name = requiredText(pcName);
    std::optional<std::string> text = name ? library.properties.get(*name) : std::nullopt;
    if (!text) return SLP_PARAMETER_BAD;
    value = library.propertyTexts.keep(std::move(*text));
    return SLP_OK;
  }));
  return value;
}

void SLPSetProperty(const char* pcName, const char* pcValue) {
  static_cast<void>(withLibrary([&](Library& library) -> SLPError {
    const std::optional<std::string> name = requiredText(pcName);
    const std::optional<std::string> value = optionalText(pcValue);
    if (!name || pcValue == nullptr || !value) return SLP_PARAMETER_BAD;
    if (library.properties.set(*name, *value)) return SLP_OK;
    config::log(config::LogLevel::kWarning, "the property " + *name + " cannot be set to \"" + *value +
                                                "\": the value is none that it takes, or only the file sets it");
    return SLP_PARAMETER_BAD;
  }));
}

void SLPSetLog(SLPLogCallback callback, void* pvCookie) {
  static_cast<void>(guarded([&]() -> SLPError {
    if (libraryHasGone()) return SLP_NETWORK_INIT_FAILED;
    config::setLogSink(sinkOf(callback, pvCookie));
    const LibraryUse library;  // whose end takes the callback out again
    return SLP_OK;
  }));
}

void SLPSetCounter(SLPCounterCallback callback, void* pvCookie) {
  static_cast<void>(guarded([&]() -> SLPError {
    if (libraryHasGone()) return SLP_NETWORK_INIT_FAILED;
    net::setTrafficCounter(counterOf(callback, pvCookie));
    const LibraryUse library;  // whose end takes the callback out again
    return SLP_OK;
  }));
}
