#include "heartbeat/IncomingRecord.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "discovery/AttributeList.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"

namespace heartbeat {
namespace {

using discovery::Announced;
using discovery::DiscoveryMap;
using utils::Sighting;

/// Null for an announcement that was taken.
const char* dropReason(Announced::Outcome outcome) {
  switch (outcome) {
    case Announced::Outcome::kFiled:
    case Announced::Outcome::kPresent:
      break;
    case Announced::Outcome::kFull:
      return "list full";
    case Announced::Outcome::kLongAddress:
      return "address too long";
    case Announced::Outcome::kNoDetails:
      return "no details";
    case Announced::Outcome::kUnreadableDetails:
      return "unreadable details";
  }
  return nullptr;
}

/// The sender's own address field and URL are not consulted: the attributes are what the server registered with SLP.
HeardRecord handleRegister(std::string_view announced) {
  std::string attributes(announced);
  utils::StringHelper::replace(attributes, "!", "\"");
  const discovery::AttributeList list = discovery::parseAttributeList(attributes, std::nullopt);
  if (list.isVmware) {
    utils::formatted_log_t(utils::LOG_DETAIL,
                           "HeartBeatWin:HandleIncomingData:VMWare server is discovered and the IP is :%1%") %
        "";
  }
  utils::formatted_log_t(
      utils::LOG_DETAIL,
      "HeartBeatWin:HandleIncomingData:slpAttributeCallback found for IP=%1%, with strServerDetail=%2%") %
      list.address % list.server;
  Announced outcome = DiscoveryMap::announce(list.address, list.server, list.isVmware);
  discovery::ServerDiscovery::getInstance()->clearUnreachable(list.address);
  HeardRecord heard{"register", dropReason(outcome.outcome), std::nullopt,
                    outcome.outcome == Announced::Outcome::kFiled};
  if (heard.dropReason == nullptr) {
    heard.sighting = {list.address, std::move(outcome.displayId), Sighting::Source::kAnnouncement,
                      Sighting::Outcome::kSeen, ""};
  }
  return heard;
}

HeardRecord handleDeregister(const AnnounceRecord& record) {
  utils::formatted_log_t(
      utils::LOG_DETAIL,
      "HeartBeatWin:HandleIncomingData:DEREGISTRATION! lpslpData->ipAddress=%1%, with lpslpData->srvURL=%2%") %
      record.address % record.url;
  const std::string address(record.address);
  const bool wasListed = DiscoveryMap::withdraw(address);
  return {"deregister", nullptr,
          Sighting{address, "", Sighting::Source::kAnnouncement, Sighting::Outcome::kLeft, "It said goodbye"},
          wasListed};
}

}  // namespace

HeardRecord handleAnnounceRecord(const AnnounceRecord& record) {
  switch (record.kind) {
    case AnnounceRecord::kJoin:
      utils::formatted_log_t(utils::LOG_DETAIL, "HeartBeatWin:HandleIncomingData:Joined multicast group IP:%1%") %
          record.address;
      return {"join", nullptr, std::nullopt, false};
    case AnnounceRecord::kRegister:
      return handleRegister(record.attributes);
    case AnnounceRecord::kDeregister:
      return handleDeregister(record);
    default:
      return {"unknown", "unknown kind", std::nullopt, false};
  }
}

void tellOf(const HeardRecord& heard) {
  utils::observer::counted("announce_records", heard.kind);
  if (heard.dropReason != nullptr) utils::observer::counted("announce_records_dropped", heard.dropReason);
  if (heard.sighting) utils::observer::sighted(*heard.sighting);
  if (heard.hasChangedList) DiscoveryMap::tellOfChange();
}

}  // namespace heartbeat
