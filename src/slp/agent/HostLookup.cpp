#include "slp/agent/HostLookup.h"

#include <algorithm>

#include "slp/client/Resolver.h"

namespace slp::agent {

bool HostLookup::isNumeric(const std::vector<std::string>& hosts) {
  return std::all_of(hosts.begin(), hosts.end(),
                     [](const std::string& host) { return net::Address::parse(host).has_value(); });
}

HostLookup::HostLookup(std::vector<std::string> hosts, std::uint16_t port) : mHosts(std::move(hosts)) {
  if (isNumeric(mHosts))
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
