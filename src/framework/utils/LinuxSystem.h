#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/utils/System.h"

namespace utils {

/// This machine, as the kernel tells it through netlink. Its address list follows changes: each query first reads the
/// notifications that have come in since, and lists anew only when there were any. It stays with the network namespace
/// in which it was made.
class LinuxSystem : public System {
 public:
  struct Options {
    /// Of [a-z0-9._-]; "" for the host name. Other characters become "-".
    std::string localServerId;
    /// Shell patterns of interface names to use; empty for all.
    std::vector<std::string> includeInterfaces;
    /// Shell patterns of interface names to leave out: by default those that exist alike on many machines.
    std::vector<std::string> excludeInterfaces = defaultExcludedInterfaces();
  };

  static std::vector<std::string> defaultExcludedInterfaces();

  LinuxSystem();
  explicit LinuxSystem(Options options);
  ~LinuxSystem() override;

  int getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                     int& count6) override;
  int getLocalIPAddress(std::string& address) override;
  std::string getLocalServerId() override;
  bool isIPv4Address(std::string text) override;
  bool isIPv6Address(std::string text) override;
  std::vector<NetworkInterface> getNetworkInterfaces() override;

 private:
  struct Network;
  const std::string mLocalServerId;
  std::unique_ptr<Network> mNetwork;
};

}  // namespace utils
