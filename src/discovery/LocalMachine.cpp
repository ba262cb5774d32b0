#include "discovery/LocalMachine.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "framework/constants/JsonConstants.h"
#include "framework/utils/Log.h"
#include "framework/utils/System.h"
#include "json/lookup.h"

namespace discovery {
namespace {

using Keys = constants::JsonConstants;
using utils::System;

/// Addresses that many machines have alike: loopback, and the default bridge of local virtual machines.
constexpr std::array<std::string_view, 2> kCommonIpV4 = {"127.0.0.1", "192.168.122.1"};

bool isAmong(const std::vector<std::string>& addresses, const std::string& address) {
  return !address.empty() && std::find(addresses.begin(), addresses.end(), address) != addresses.end();
}

bool isCommon(const std::string& address) {
  return std::find(kCommonIpV4.begin(), kCommonIpV4.end(), address) != kCommonIpV4.end();
}

std::string addressOf(const json::UnknownElement& nic, const char* family) {
  const auto* const object = nic.getIf<json::Object>();
  return object != nullptr ? json::textAt(*object, {family}) : "";
}

bool hasLocalIpV4(const json::Array& nics, const std::vector<std::string>& local) {
  bool result = false;
  for (const auto& nic : nics) {
    const std::string address = addressOf(nic, Keys::IP_V4);
    if (isCommon(address) || !isAmong(local, address)) continue;
    utils::formatted_log_t(
        utils::LOG_INVENTORY_DETAIL,
        "RemoteServerDiscovery:isLocalServer:In IPv4 loop strNICTemp.compare(strLocalServerIP) == 0");
    result = true;
  }
  return result;
}

bool hasLocalIpV6(const json::Array& nics, const std::vector<std::string>& local) {
  bool result = false;
  for (const auto& nic : nics) {
    if (!isAmong(local, addressOf(nic, Keys::IP_V6))) continue;
    utils::formatted_log_t(
        utils::LOG_INVENTORY_DETAIL,
        "RemoteServerDiscovery:isLocalServer:In IPv6 loop strNICTemp.compare(strLocalServerIP) == 0");
    result = true;
  }
  return result;
}

bool isOwnAddress(const std::string& serverIp, const std::string& own, const char* message) {
  if (own.empty() || own != serverIp) return false;
  utils::formatted_log_t(utils::LOG_INVENTORY_DETAIL, message);
  return true;
}

std::vector<std::string> counted(const std::string (&table)[System::kMaxAddresses], int count) {
  return {table, table + std::clamp(count, 0, System::kMaxAddresses)};
}

}  // namespace

LocalAddresses localAddresses() {
  System* const system = System::get_instance();
  LocalAddresses local;
  system->getLocalIPAddress(local.own);
  std::string ipV4[System::kMaxAddresses];
  std::string ipV6[System::kMaxAddresses];
  int count4 = 0;
  int count6 = 0;
  local.areListed = system->getIPAddresses(ipV4, ipV6, count4, count6) != 0;
  if (!local.areListed) return local;
  local.ipV4 = counted(ipV4, count4);
  local.ipV6 = counted(ipV6, count6);
  return local;
}

bool isLocalServer(const json::Array& nics, const std::string& serverIp, const LocalAddresses& local) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::isLocalServer");
  utils::formatted_log_t(utils::LOG_INVENTORY_DETAIL, "RemoteServerDiscovery:isLocalServer:strIp:strServerIP:%1%%2%") %
      local.own % serverIp;
  if (!local.areListed) {
    return isOwnAddress(serverIp, local.own, "RemoteServerDiscovery:isLocalServer:In strServerIP.compare(strIp) == 0");
  }
  if (nics.Size() <= 1) {
    return isOwnAddress(serverIp, local.own, "RemoteServerDiscovery:isLocalServer:In strIp.compare(strServerIP) == 0");
  }
  return hasLocalIpV4(nics, local.ipV4) || hasLocalIpV6(nics, local.ipV6);
}

}  // namespace discovery
