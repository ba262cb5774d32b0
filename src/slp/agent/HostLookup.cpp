#include "slp/agent/HostLookup.h"

#include <algorithm>

#include "slp/client/Resolver.h"

namespace slp::agent {

HostLookup::HostLookup(std::vector<std::string> hosts, std::uint16_t port) : mHosts(std::move(hosts)) {
  const bool numeric = std::all_of(mHosts.begin(), mHosts.end(),
                                   [](const std::string& host) { return net::Address::parse(host).has_value(); });
  if (numeric)
    lookUp(port);
  else
    mThread = std::thread([this, port] { lookUp(port); });
}

HostLookup::~HostLookup() {
  mCancel.signal();
  if (mThread.joinable()) mThread.join();
}

void HostLookup::lookUp(std::uint16_t port) {
  try {
    for (const std::string& host : mHosts)
      for (const net::Address& address : client::resolveHost(host, mCancel.fd()))
        mFound.push_back({address, port});
  } catch (const std::exception&) {
    mFound.clear();  // there was no memory: as good as no answer
  }
  mReady = true;
}

}  // namespace slp::agent
