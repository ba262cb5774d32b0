#include "slp/agent/HostLookup.h"

#include <netdb.h>

#include "slp/net/SocketAddress.h"

namespace slp::agent {

struct HostLookup::Request {
  std::string name;
  addrinfo hints{};
  gaicb control{};

  explicit Request(const std::string& host) : name(host) {
    hints.ai_socktype = SOCK_DGRAM;  // each address once
    control.ar_name = name.c_str();
    control.ar_request = &hints;
  }
  ~Request() {
    if (control.ar_result != nullptr) ::freeaddrinfo(control.ar_result);
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
};

HostLookup::HostLookup(const std::vector<std::string>& hosts, std::uint16_t port) : mPort(port) {
  for (const std::string& host : hosts) {
    if (const auto address = net::Address::parse(host)) {
      mFound.push_back({*address, port});
      continue;
    }
    auto request = std::make_unique<Request>(host);
    gaicb* list[] = {&request->control};
    if (::getaddrinfo_a(GAI_NOWAIT, list, 1, nullptr) == 0) mRequests.push_back(std::move(request));
  }
}

HostLookup::~HostLookup() {
  // What the C library is at work on must stay in place until it is done, which may take many seconds.
  for (auto& request : mRequests)
    if (::gai_cancel(&request->control) == EAI_NOTCANCELED) static_cast<void>(request.release());
}

bool HostLookup::ready() {
  std::erase_if(mRequests, [this](const std::unique_ptr<Request>& request) {
    const int state = ::gai_error(&request->control);
    if (state == EAI_INPROGRESS) return false;
    if (state != 0) return true;
    for (const addrinfo* one = request->control.ar_result; one != nullptr; one = one->ai_next)
      if (const auto endpoint = net::endpointOf(one->ai_addr, one->ai_addrlen))
        mFound.push_back({endpoint->address, mPort});
    return true;
  });
  return mRequests.empty();
}

}  // namespace slp::agent
