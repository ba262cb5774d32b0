#include "slp/client/Resolver.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <system_error>
#include <thread>

#include "slp/net/SocketAddress.h"
#include "slp/net/Wakeup.h"
#include "slp/wire/Limits.h"

namespace slp::client {
namespace {

/// Look-ups whose searches have been cancelled, and that still wait for the resolver.
std::atomic<int> abandonedCount{0};

/// Shared by the search and the thread; whoever is last frees it.
struct Lookup {
  enum class State { kUnderWay, kDone, kAbandoned };

  std::string host;
  std::vector<net::Address> addresses;  ///< the thread's until it is done, then the search's
  std::atomic<State> state{State::kUnderWay};
  net::Wakeup done;
};

std::vector<net::Address> askSystem(const std::string& host) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* first = nullptr;
  std::vector<net::Address> addresses;
  if (::getaddrinfo(host.c_str(), nullptr, &hints, &first) != 0) return addresses;
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> entries(first, &::freeaddrinfo);
  for (const addrinfo* entry = first; entry != nullptr; entry = entry->ai_next) {
    const auto endpoint = net::endpointOf(entry->ai_addr, entry->ai_addrlen);
    if (endpoint && std::find(addresses.begin(), addresses.end(), endpoint->address) == addresses.end())
      addresses.push_back(endpoint->address);
  }
  return addresses;
}

void lookUp(const std::shared_ptr<Lookup>& lookup) noexcept {
  try {
    lookup->addresses = askSystem(lookup->host);
  } catch (const std::bad_alloc&) {
    lookup->addresses.clear();
  }
  if (lookup->state.exchange(Lookup::State::kDone) == Lookup::State::kAbandoned) --abandonedCount;
  lookup->done.signal();
}

/// Until the look-up is done or cancelled.
void await(const Lookup& lookup, int cancelFd) {
  pollfd entries[] = {{cancelFd, POLLIN, 0}, {lookup.done.fd(), POLLIN, 0}};
  while (::poll(entries, 2, -1) < 0 && errno == EINTR) {
  }
}

std::vector<net::Address> lookUpBeside(const std::string& host, int cancelFd) {
  if (abandonedCount >= limits::kMaxAbandonedLookups) return {};
  keepLoaded();
  auto lookup = std::make_shared<Lookup>();
  lookup->host = host;
  std::thread([lookup] { lookUp(lookup); }).detach();
  await(*lookup, cancelFd);
  ++abandonedCount;
  if (lookup->state.exchange(Lookup::State::kAbandoned) != Lookup::State::kDone) return {};
  --abandonedCount;
  return std::move(lookup->addresses);
}

}  // namespace

void keepLoaded() {
  static std::atomic<bool> kept{false};
  if (kept.exchange(true)) return;
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&keepLoaded), &info) == 0 || info.dli_fname == nullptr) return;
  // In a program that has the library inside there is nothing to be unloaded, and this does nothing.
  ::dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

std::vector<net::Address> resolveHost(const std::string& host, int cancelFd) {
  if (const auto address = net::Address::parse(host)) return {*address};
  if (host.empty()) return {};
  try {
    return lookUpBeside(host, cancelFd);
  } catch (const std::system_error&) {
    return {};  // no thread or no descriptor to be had: as good as no answer
  }
}

}  // namespace slp::client
