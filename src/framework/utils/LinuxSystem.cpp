#include "framework/utils/LinuxSystem.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <unistd.h>
#include <utility>

#include "framework/utils/AddressSelection.h"
#include "framework/utils/IpAddress.h"
#include "framework/utils/Netlink.h"
#include "framework/utils/StringHelper.h"

namespace utils {
namespace {

/// Adds the addresses of every interface, `family` being one of its lists, until the table is full.
int fill(std::string (&table)[System::kMaxAddresses], const std::vector<NetworkInterface>& interfaces,
         std::vector<std::string> NetworkInterface::*family) {
  int count = 0;
  for (const auto& interface : interfaces) {
    for (const auto& address : interface.*family) {
      if (count == System::kMaxAddresses) return count;
      table[count++] = address;
    }
  }
  return count;
}

std::string identifier(std::string text) {
  StringHelper::to_lower(text);
  const auto isForeign = [](char c) {
    return (c < 'a' || c > 'z') && (c < '0' || c > '9') && c != '.' && c != '_' && c != '-';
  };
  std::replace_if(text.begin(), text.end(), isForeign, '-');
  return text;
}

std::string hostName() {
  char name[256] = "";
  if (gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') return "localhost";
  return name;
}

}  // namespace

/// The list as last read.
struct LinuxSystem::Network {
  explicit Network(InterfaceFilter interfaceFilter) : filter(std::move(interfaceFilter)) {}

  const InterfaceFilter filter;
  std::mutex mutex;  ///< guards what follows
  Netlink netlink;
  std::optional<std::vector<NetworkInterface>> interfaces;

  /// Nothing when the kernel did not answer; the next call then asks again.
  std::optional<std::vector<NetworkInterface>> current() {
    const std::lock_guard lock(mutex);
    if (netlink.changed()) interfaces.reset();
    if (!interfaces) {
      if (const auto network = netlink.list()) interfaces = selectInterfaces(*network, filter);
    }
    return interfaces;
  }
};

std::vector<std::string> LinuxSystem::defaultExcludedInterfaces() {
  return {"docker*", "br-*", "veth*", "virbr*", "cni*", "podman*", "lxc*"};
}

LinuxSystem::LinuxSystem() : LinuxSystem(Options()) {}

LinuxSystem::LinuxSystem(Options options)
    : mLocalServerId(identifier(options.localServerId)),
      mNetwork(std::make_unique<Network>(
          InterfaceFilter{std::move(options.includeInterfaces), std::move(options.excludeInterfaces)})) {}

LinuxSystem::~LinuxSystem() = default;

int LinuxSystem::getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                                int& count6) {
  count4 = 0;
  count6 = 0;
  const auto interfaces = mNetwork->current();
  if (!interfaces) return 0;
  count4 = fill(ipv4, *interfaces, &NetworkInterface::ipV4);
  count6 = fill(ipv6, *interfaces, &NetworkInterface::ipV6);
  return 1;
}

int LinuxSystem::getLocalIPAddress(std::string& address) {
  address.clear();
  const auto interfaces = mNetwork->current();
  if (!interfaces) return 0;
  for (const auto family : {&NetworkInterface::ipV4, &NetworkInterface::ipV6}) {
    for (const auto& interface : *interfaces) {
      if ((interface.*family).empty()) continue;
      address = (interface.*family).front();
      return 1;
    }
  }
  return 1;
}

std::string LinuxSystem::getLocalServerId() {
  return mLocalServerId.empty() ? identifier(hostName()) : mLocalServerId;
}

bool LinuxSystem::isIPv4Address(std::string text) {
  return isIPv4Text(text);
}

bool LinuxSystem::isIPv6Address(std::string text) {
  return isIPv6Text(text);
}

std::vector<NetworkInterface> LinuxSystem::getNetworkInterfaces() {
  return mNetwork->current().value_or(std::vector<NetworkInterface>());
}

}  // namespace utils
