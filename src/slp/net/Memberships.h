#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "slp/net/Address.h"
#include "slp/net/Descriptor.h"

namespace slp::net {

struct Membership {
  Address group;
  std::uint32_t interface = 0;
  auto operator<=>(const Membership&) const = default;
};

/// Keeps this machine in multicast groups. The sockets here only hold memberships, as many as the kernel allows on
/// each; the datagrams reach the bound socket of the agent, which takes those of every group that the machine has
/// joined on an interface. For one thread at a time.
class Memberships {
 public:
  /// Joins and leaves until just these are held. What cannot be joined is tried again at the next call. Returns how
  /// many are missing.
  std::size_t set(const std::set<Membership>& wanted);
  std::size_t held() const { return mHeld.size(); }

 private:
  struct Holder {
    Descriptor socket;  ///< closed: the place is vacant
    Family family = Family::kV4;
    std::size_t count = 0;
    bool full = false;
  };
  bool join(const Membership& membership);
  bool joinByNewHolder(const Membership& membership);
  void leave(const Membership& membership);

  std::vector<Holder> mHolders;
  std::map<Membership, std::size_t> mHeld;  ///< with the index of the holder
};

}  // namespace slp::net
