#include "slp/net/Memberships.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

#include "slp/net/SocketAddress.h"

namespace slp::net {
namespace {

/// IP_ADD_MEMBERSHIP and its like; errno, or 0.
int change(int socket, const Membership& membership, bool join) {
  int result = 0;
  if (membership.group.family == Family::kV4) {
    ip_mreqn request{};
    std::memcpy(&request.imr_multiaddr, membership.group.bytes.data(), sizeof(request.imr_multiaddr));
    request.imr_ifindex = static_cast<int>(membership.interface);
    result = ::setsockopt(socket, IPPROTO_IP, join ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP, &request, sizeof(request));
  } else {
    ipv6_mreq request{};
    std::memcpy(&request.ipv6mr_multiaddr, membership.group.bytes.data(), sizeof(request.ipv6mr_multiaddr));
    request.ipv6mr_interface = membership.interface;
    result = ::setsockopt(socket, IPPROTO_IPV6, join ? IPV6_JOIN_GROUP : IPV6_LEAVE_GROUP, &request, sizeof(request));
  }
  return result == 0 ? 0 : errno;
}

/// The socket, not the membership, is at its end: of the memberships of IPv4, or of the memory that IPv6 takes them of.
bool isFull(int error) {
  return error == ENOBUFS || error == ENOMEM;
}

}  // namespace

std::size_t Memberships::set(const std::set<Membership>& wanted) {
  std::vector<Membership> unwanted;
  for (const auto& [membership, holder] : mHeld)
    if (!wanted.contains(membership)) unwanted.push_back(membership);
  for (const auto& membership : unwanted)
    leave(membership);
  std::size_t missing = 0;
  for (const auto& membership : wanted)
    if (!mHeld.contains(membership) && !join(membership)) ++missing;
  return missing;
}

bool Memberships::join(const Membership& membership) {
  for (std::size_t i = 0; i < mHolders.size(); ++i) {
    auto& holder = mHolders[i];
    if (!holder.socket || holder.full || holder.family != membership.group.family) continue;
    const int error = change(holder.socket.get(), membership, true);
    if (error == 0) {
      ++holder.count;
      mHeld.emplace(membership, i);
      return true;
    }
    if (!isFull(error)) return false;
    holder.full = true;
  }
  return joinByNewHolder(membership);
}

bool Memberships::joinByNewHolder(const Membership& membership) {
  Holder holder;
  holder.family = membership.group.family;
  holder.socket.reset(::socket(domainOf(holder.family), SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!holder.socket || change(holder.socket.get(), membership, true) != 0) return false;
  holder.count = 1;
  // A place that fell empty is taken again, because the others are known by their places.
  const auto vacant = std::find_if(mHolders.begin(), mHolders.end(), [](const Holder& h) { return !h.socket; });
  const auto place = static_cast<std::size_t>(vacant - mHolders.begin());
  if (vacant == mHolders.end())
    mHolders.push_back(std::move(holder));
  else
    *vacant = std::move(holder);
  mHeld.emplace(membership, place);
  return true;
}

void Memberships::leave(const Membership& membership) {
  const auto held = mHeld.find(membership);
  auto& holder = mHolders[held->second];
  mHeld.erase(held);
  // Fails only when the interface is gone, and the membership with it.
  change(holder.socket.get(), membership, false);
  holder.full = false;
  if (--holder.count == 0) holder = Holder{};
}

}  // namespace slp::net
