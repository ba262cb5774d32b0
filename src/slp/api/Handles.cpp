#include <algorithm>
#include <string_view>

#include "slp/api/Arguments.h"
#include "slp/api/Library.h"
#include "slp/client/SocketTransport.h"
#include "slp/net/Interfaces.h"
#include "slp/wire/StringList.h"

namespace slp::api {
namespace {

SLPError associateHost(Library& library, Handle& handle, Call& call, const std::string& host) {
  client::SocketTransport resolver(library.properties.settings(), {}, call.wakeup());
  const std::vector<net::Address> addresses = resolver.resolve(host);
  if (call.cancelled() || addresses.empty() || addresses.front().isMulticast()) return SLP_PARAMETER_BAD;
  handle.host = addresses.front();
  return SLP_OK;
}

/// An address may be one that an interface gets later; a name is one of now.
bool isInterface(const std::vector<net::Interface>& interfaces, std::string_view text) {
  return net::Address::parse(text) || std::any_of(interfaces.begin(), interfaces.end(),
                                                  [&](const auto& interface) { return interface.name == text; });
}

SLPError associateInterfaces(Handle& handle, std::string_view list) {
  const std::vector<std::string_view> wanted = wire::splitList(list);
  if (!wanted.empty()) {
    const std::vector<net::Interface> known = net::listInterfaces();
    for (const std::string_view text : wanted) {
      if (!isInterface(known, text)) return SLP_PARAMETER_BAD;
    }
  }
  handle.interfaces.assign(wanted.begin(), wanted.end());
  return SLP_OK;
}

}  // namespace
}  // namespace slp::api

using namespace slp;
using namespace slp::api;

SLPError SLPOpen(const char* pcLang, SLPBoolean isAsync, SLPHandle* phSLP) {
  if (phSLP == nullptr) return SLP_PARAMETER_BAD;
  *phSLP = nullptr;
  return withLibrary([&](Library& library) -> SLPError {
    if (isAsync != SLP_FALSE) return SLP_NOT_IMPLEMENTED;
    std::optional<std::string> language = languageOr(pcLang, library.properties.settings());
    return language ? library.handles.open(std::move(*language), *phSLP) : SLP_PARAMETER_BAD;
  });
}

void SLPClose(SLPHandle hSLP) {
  static_cast<void>(withLibrary([&](Library& library) {
    library.handles.close(hSLP);
    return SLP_OK;
  }));
}

SLPError SLPAssociateIP(SLPHandle hSLP, const char* pcUnicastIP) {
  return withHandle(hSLP, [&](Library& library, Handle& handle, Call& call) -> SLPError {
    const std::optional<std::string> host = optionalText(pcUnicastIP);
    if (!host) return SLP_PARAMETER_BAD;
    if (!host->empty()) return associateHost(library, handle, call, *host);
    handle.host.reset();
    return SLP_OK;
  });
}

SLPError SLPAssociateIFList(SLPHandle hSLP, const char* pcMulticastIFList) {
  return withHandle(hSLP, [&](Library&, Handle& handle, Call&) -> SLPError {
    const std::optional<std::string> list = optionalText(pcMulticastIFList);
    return list ? associateInterfaces(handle, *list) : SLP_PARAMETER_BAD;
  });
}
