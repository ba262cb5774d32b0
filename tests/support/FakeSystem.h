#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "framework/utils/System.h"

namespace support {

/// A machine of the test's making, in place of the real one for its lifetime. Safe for every thread.
class FakeSystem : public utils::System {
 public:
  /// Has the IPv4 address 10.0.0.1 and the identifier "local".
  FakeSystem();
  ~FakeSystem() override;

  /// The addresses of one interface "eth0"; the first of them is the local address, IPv4 before IPv6.
  void setAddresses(std::vector<std::string> ipV4, std::vector<std::string> ipV6 = {});
  /// Several interfaces, from which the address lists follow.
  void setInterfaces(std::vector<utils::NetworkInterface> interfaces);
  /// What `getLocalIPAddress` fills in, whatever the interfaces are.
  void setLocalAddress(std::string address);
  void setServerId(std::string id);
  void failGetIPAddresses(bool fail = true);
  void failGetLocalIPAddress(bool fail = true);

  int getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                     int& count6) override;
  int getLocalIPAddress(std::string& address) override;
  std::string getLocalServerId() override;
  bool isIPv4Address(std::string text) override;
  bool isIPv6Address(std::string text) override;
  std::vector<utils::NetworkInterface> getNetworkInterfaces() override;

 private:
  utils::System* const mBefore;
  std::mutex mMutex;
  std::vector<utils::NetworkInterface> mInterfaces;
  std::string mLocalAddress;
  std::string mServerId = "local";
  bool mFailGetIPAddresses = false;
  bool mFailGetLocalIPAddress = false;
};

}  // namespace support
