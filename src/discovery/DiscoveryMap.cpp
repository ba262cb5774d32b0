#include "discovery/DiscoveryMap.h"

#include <utility>

#include "discovery/Limits.h"
#include "discovery/LogThrottle.h"
#include "discovery/PassAnnouncements.h"
#include "framework/utils/Log.h"
#include "framework/utils/Mutex.h"
#include "json/reader.h"

namespace discovery {
namespace {

/// What the log calls an announced document.
constexpr const char* kDocumentLabel = "remote.json";

utils::Mutex gMutex;
HostTable gHosts;
PassAnnouncements gAnnouncements;
LogThrottle gFullTable;

void logReadError(const char* format, const char* what, const json::Reader::Location& where) {
  const bool isNamed = what != nullptr && *what != '\0';
  utils::formatted_log_t(utils::LOG_ERROR, format) % (isNamed ? what : "Unknown exception") % (where.m_nLine + 1) %
      (where.m_nLineOffset + 1) % kDocumentLabel;
}

bool readDetails(const std::string& text, json::Object& details) {
  try {
    json::Reader::Read(details, std::string_view(text));
    return true;
  } catch (const json::Reader::ScanException& error) {
    logReadError("DiscoveryMap:addDiscoveredHost:json %4%, caught json::ScanException: %1%, at line: %2% offset: %3%",
                 error.what(), error.m_locError);
  } catch (const json::Reader::ParseException& error) {
    logReadError("DiscoveryMap:addDiscoveredHost:json %4%, caught json::ParseException: %1%, at line: %2% offset: %3%",
                 error.what(), error.m_locTokenBegin);
  }
  return false;
}

}  // namespace

void DiscoveryMap::addDiscoveredHost(std::string address, std::string serverDetails, bool isVmware) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::addDiscoveredHost");
  json::Object details;
  if (!isVmware) {
    if (serverDetails.empty()) {
      utils::formatted_log_t(utils::LOG_FAILURE, "DiscoveryMap:addDiscoveredHost:Server Details List is$ Empty");
      return;
    }
    if (!readDetails(serverDetails, details)) return;
  }
  gAnnouncements.announced(address, details);
  // Without the mutex: announcements do not wait for whoever replaces the table.
  const HostTable::Filing filing = gHosts.insertIfAbsent(address, details, kMaxAnnouncedServers);
  if (filing == HostTable::Filing::kFull && gFullTable.admits()) {
    utils::formatted_log_t(utils::LOG_FAILURE, "DiscoveryMap:addDiscoveredHost:the table is full, left out:%1%") %
        address;
  }
}

std::map<std::string, json::Object> DiscoveryMap::getDiscoveredHost() {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::getDiscoveredHost");
  return *snapshot();
}

void DiscoveryMap::updateServerList(std::map<std::string, json::Object> hosts) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::updateServerList");
  const utils::Lock lock(&gMutex, false);
  gHosts.replaceAll(std::move(hosts));
}

void DiscoveryMap::withdraw(const std::string& address) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::withdraw");
  gAnnouncements.deregistered(address);
  const utils::Lock lock(&gMutex, false);
  gHosts.erase(address);
}

void DiscoveryMap::passBegins() {
  gAnnouncements.passBegins();
}

void DiscoveryMap::passEnds(const HostTable::Map& found) {
  if (!found.empty()) updateServerList(gAnnouncements.applyTo(found));
  gAnnouncements.passEnds(gHosts);
}

HostTable::Snapshot DiscoveryMap::snapshot() {
  const utils::Lock lock(&gMutex, false);
  return gHosts.snapshot();
}

}  // namespace discovery
