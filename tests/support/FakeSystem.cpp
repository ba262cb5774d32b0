#include "support/FakeSystem.h"

#include <utility>

#include "framework/utils/IpAddress.h"

namespace support {
namespace {

using Family = std::vector<std::string> utils::NetworkInterface::*;

std::vector<std::string> addressesOf(const std::vector<utils::NetworkInterface>& interfaces, Family family) {
  std::vector<std::string> addresses;
  for (const auto& interface : interfaces) {
    for (const auto& address : interface.*family)
      addresses.push_back(address);
  }
  return addresses;
}

int fill(std::string (&table)[utils::System::kMaxAddresses], const std::vector<std::string>& addresses) {
  int count = 0;
  for (const auto& address : addresses) {
    if (count == utils::System::kMaxAddresses) break;
    table[count++] = address;
  }
  return count;
}

}  // namespace

FakeSystem::FakeSystem() : mBefore(utils::System::set_instance(this)) {
  setAddresses({"10.0.0.1"});
}

FakeSystem::~FakeSystem() {
  utils::System::set_instance(mBefore);
}

void FakeSystem::setAddresses(std::vector<std::string> ipV4, std::vector<std::string> ipV6) {
  setInterfaces({{"eth0", "52:54:00:00:00:01", std::move(ipV4), std::move(ipV6)}});
}

void FakeSystem::setInterfaces(std::vector<utils::NetworkInterface> interfaces) {
  const auto ipV4 = addressesOf(interfaces, &utils::NetworkInterface::ipV4);
  const auto ipV6 = addressesOf(interfaces, &utils::NetworkInterface::ipV6);
  const std::lock_guard lock(mMutex);
  mInterfaces = std::move(interfaces);
  mLocalAddress = !ipV4.empty() ? ipV4.front() : !ipV6.empty() ? ipV6.front() : "";
}

void FakeSystem::setLocalAddress(std::string address) {
  const std::lock_guard lock(mMutex);
  mLocalAddress = std::move(address);
}

void FakeSystem::setServerId(std::string id) {
  const std::lock_guard lock(mMutex);
  mServerId = std::move(id);
}

void FakeSystem::failGetIPAddresses(bool fail) {
  const std::lock_guard lock(mMutex);
  mFailGetIPAddresses = fail;
}

void FakeSystem::failGetLocalIPAddress(bool fail) {
  const std::lock_guard lock(mMutex);
  mFailGetLocalIPAddress = fail;
}

int FakeSystem::getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                               int& count6) {
  const std::lock_guard lock(mMutex);
  count4 = 0;
  count6 = 0;
  if (mFailGetIPAddresses) return 0;
  count4 = fill(ipv4, addressesOf(mInterfaces, &utils::NetworkInterface::ipV4));
  count6 = fill(ipv6, addressesOf(mInterfaces, &utils::NetworkInterface::ipV6));
  return 1;
}

int FakeSystem::getLocalIPAddress(std::string& address) {
  const std::lock_guard lock(mMutex);
  if (mFailGetLocalIPAddress) return 0;
  address = mLocalAddress;
  return 1;
}

std::string FakeSystem::getLocalServerId() {
  const std::lock_guard lock(mMutex);
  return mServerId;
}

bool FakeSystem::isIPv4Address(std::string text) {
  return utils::isIPv4Text(text);
}

bool FakeSystem::isIPv6Address(std::string text) {
  return utils::isIPv6Text(text);
}

std::vector<utils::NetworkInterface> FakeSystem::getNetworkInterfaces() {
  const std::lock_guard lock(mMutex);
  return mInterfaces;
}

}  // namespace support
