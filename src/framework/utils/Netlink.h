#pragma once

#include <optional>

#include "framework/utils/MachineNetwork.h"

namespace utils {

/// The route netlink of the network namespace in which it was made. For one thread at a time.
class Netlink {
 public:
  Netlink();
  ~Netlink();
  Netlink(const Netlink&) = delete;
  Netlink& operator=(const Netlink&) = delete;

  /// Whether links, addresses or routes may have changed since the last call; true at the first. Does not block.
  bool changed();
  /// Asks the kernel for everything. Nothing when that fails or takes longer than two seconds.
  std::optional<MachineNetwork> list() const;

 private:
  bool mFirst = true;
  int mNotifications;  ///< -1 when it could not be opened: everything then counts as changed
};

}  // namespace utils
