#pragma once

#include <string>
#include <vector>

namespace utils {

/// One network interface of this machine with the addresses that others may reach it under.
struct NetworkInterface {
  std::string name;
  std::string mac;                ///< "52:54:00:12:34:56", "" when it has none
  std::vector<std::string> ipV4;  ///< in the kernel's order
  std::vector<std::string> ipV6;
};

/// Information about the local machine. Virtual, so that tests put a machine of their own in place. Safe for every
/// thread.
class System {
 public:
  static constexpr int kMaxAddresses = 64;

  /// The system given to `set_instance`, else the machine itself with default settings.
  static System* get_instance();
  /// Puts another system in place, which the caller owns (null: the machine itself); the previous one is returned.
  static System* set_instance(System* system);

  virtual ~System();

  /// Fills the tables with at most 64 addresses of each family, the default route's interface first, loopback,
  /// link-local, temporary, deprecated and tentative ones left out. Non-zero on success, also when there are none.
  virtual int getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                             int& count6) = 0;
  /// Fills in the first address that `getIPAddresses` lists, IPv4 before IPv6, "" when there is none. Non-zero on
  /// success.
  virtual int getLocalIPAddress(std::string& address) = 0;
  /// The local server's identifier, the last path segment of its details resource.
  virtual std::string getLocalServerId() = 0;
  virtual bool isIPv4Address(std::string text) = 0;
  /// An IPv6 address in text form without brackets, with a zone ("fe80::1%eth0") or without.
  virtual bool isIPv6Address(std::string text) = 0;

  /// The interfaces behind those addresses, in the same order; those without an address are left out.
  virtual std::vector<NetworkInterface> getNetworkInterfaces() = 0;
};

}  // namespace utils
