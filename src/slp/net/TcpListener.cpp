#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>

#include "slp/net/MessageStream.h"
#include "slp/net/SocketAddress.h"

namespace slp::net {
namespace {

/// Connections that the kernel keeps for us; more than these are at once only in floods.
constexpr int kBacklog = 128;
/// Connections that broke before they were accepted, passed over by one call.
constexpr int kMaxBroken = 64;

bool isBroken(int error) {
  // Linux also hands on errors of the network that the new connection has already met (accept(2)).
  switch (error) {
    case EINTR:
    case ECONNABORTED:
    case EPROTO:
    case ENETDOWN:
    case ENOPROTOOPT:
    case EHOSTDOWN:
    case ENONET:
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EPERM:
      return true;
    default:
      return false;
  }
}

}  // namespace

Descriptor listenTcp(Family family, std::uint16_t port, int& error) {
  const int on = 1;
  const auto address = SocketAddress::any(family, port);
  Descriptor socket(::socket(domainOf(family), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const bool listens =
      socket && ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) == 0 &&
      (family == Family::kV4 || ::setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof(on)) == 0) &&
      ::bind(socket.get(), address.get(), address.length) == 0 && ::listen(socket.get(), kBacklog) == 0;
  error = listens ? 0 : errno;
  if (!listens) socket.reset();
  return socket;
}

Descriptor acceptTcp(int listener, Endpoint& from, int* error) {
  if (error != nullptr) *error = 0;
  for (int attempt = 0; attempt < kMaxBroken; ++attempt) {
    SocketAddress address;
    address.length = sizeof(address.storage);
    Descriptor socket(::accept4(listener, address.get(), &address.length, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (socket) {
      from = endpointOf(address.get(), address.length).value_or(Endpoint{});
      return socket;
    }
    if (isBroken(errno)) continue;
    if (error != nullptr) *error = errno == EAGAIN || errno == EWOULDBLOCK ? 0 : errno;
    break;
  }
  return {};
}

}  // namespace slp::net
