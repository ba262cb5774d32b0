#include "slp/agent/NetworkView.h"

#include <algorithm>

namespace slp::agent {

void NetworkView::set(std::vector<net::Interface> all) {
  mAll = std::move(all);
  mSuitable = net::suitableInterfaces(mAll, mWanted);
  mEach.clear();
  for (const net::Interface& one : mAll)
    mEach.push_back({one});
}

const std::vector<net::Interface>* NetworkView::only(std::uint32_t index) const {
  const auto found =
      std::find_if(mEach.begin(), mEach.end(), [&](const auto& list) { return list.front().index == index; });
  return found == mEach.end() ? nullptr : &*found;
}

std::optional<Source> NetworkView::sourceOf(const net::Datagram& datagram) const {
  if (datagram.from.port == 0 || datagram.from.address.isMulticast()) return std::nullopt;
  const bool own = isOwn(datagram.from.address);
  const std::vector<net::Interface>* by = only(datagram.interface);
  const bool speaks = mWanted.empty() || std::any_of(mSuitable.begin(), mSuitable.end(),
                                                     [&](const auto& one) { return one.index == datagram.interface; });
  if (!speaks && !own) return std::nullopt;
  Source source;
  source.from = datagram.from;
  source.interface = datagram.interface;
  source.ownAddress = datagram.to;
  source.sentToGroup = !isOwn(datagram.to);  // what is not our address is a group, or a broadcast
  source.onLink = own || (by != nullptr && net::isOnLink(*by, datagram.from.address));
  if (source.sentToGroup && by != nullptr) {
    const net::Interface& interface = by->front();
    const net::Address* address = interface.firstOf(datagram.from.address.family);
    if (datagram.from.address.isLinkLocal() && interface.linkLocal() != nullptr) address = interface.linkLocal();
    if (address == nullptr) return std::nullopt;  // there is nothing to answer from
    source.ownAddress = *address;
  }
  return source;
}

Source NetworkView::sourceOf(const net::Endpoint& peer, const net::Address& to, Owner connection) const {
  Source source;
  source.from = peer;
  source.ownAddress = to;
  source.tcp = true;
  source.onLink = isOwn(peer.address) || net::isOnLink(mAll, peer.address);
  source.connection = connection;
  return source;
}

void NetworkView::address(net::Outgoing& answer, const net::Datagram& request, const Source& source) const {
  answer.to = request.from;
  answer.from = source.ownAddress;
  answer.useFrom = true;
  answer.interface = isOwn(request.from.address) ? 0 : request.interface;
}

}  // namespace slp::agent
