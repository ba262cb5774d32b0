#include "heartbeat/IncomingRecord.h"

#include <optional>
#include <string>
#include <string_view>

#include "discovery/AttributeList.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"

namespace heartbeat {
namespace {

using discovery::DiscoveryMap;

/// The sender's own address field and URL are not consulted: the attributes are what the server registered with SLP.
void handleRegister(std::string_view announced) {
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
  DiscoveryMap::addDiscoveredHost(list.address, list.server, list.isVmware);
  discovery::ServerDiscovery::getInstance()->clearUnreachable(list.address);
}

void handleDeregister(const AnnounceRecord& record) {
  utils::formatted_log_t(
      utils::LOG_DETAIL,
      "HeartBeatWin:HandleIncomingData:DEREGISTRATION! lpslpData->ipAddress=%1%, with lpslpData->srvURL=%2%") %
      record.address % record.url;
  DiscoveryMap::withdraw(std::string(record.address));
}

}  // namespace

void handleAnnounceRecord(const AnnounceRecord& record) {
  switch (record.kind) {
    case AnnounceRecord::kJoin:
      utils::formatted_log_t(utils::LOG_DETAIL, "HeartBeatWin:HandleIncomingData:Joined multicast group IP:%1%") %
          record.address;
      break;
    case AnnounceRecord::kRegister:
      handleRegister(record.attributes);
      break;
    case AnnounceRecord::kDeregister:
      handleDeregister(record);
      break;
    default:
      break;
  }
}

}  // namespace heartbeat
