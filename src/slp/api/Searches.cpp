#include <utility>

#include "slp/api/Arguments.h"
#include "slp/api/Library.h"
#include "slp/client/SocketTransport.h"
#include "slp/wire/Filter.h"
#include "slp/wire/Text.h"

namespace slp::api {
namespace {

/// What the callbacks of one search have done: it decides the search's end.
class Delivery {
 public:
  explicit Delivery(Call& call) : mCall(call) {}

  /// Runs the callback with one result; false when the search is to end.
  template <typename Callback>
  bool result(Callback&& callback) {
    mDelivered = true;
    return mCall.run([&] {
      mStopped = callback() == SLP_FALSE;
      return !mStopped;
    });
  }

  /// The value of the whole call; `lastCall` runs when the search is complete (RFC 2614, sections 3.9 and 4.7.6).
  template <typename Callback>
  SLPError end(const client::Outcome& outcome, Callback&& lastCall) {
    if (mStopped) return SLP_OK;
    if (mCall.cancelled()) return SLP_PARAMETER_BAD;  // the handle is closed, as for every later call
    if (outcome.error != SLP_OK && !mDelivered) return outcome.error;
    mCall.run([&] {
      lastCall();
      return true;
    });
    return SLP_OK;
  }

 private:
  Call& mCall;
  bool mDelivered = false;
  bool mStopped = false;
};

client::Target targetOf(const Handle& handle, const config::Settings& settings) {
  client::Target target;
  if (handle.host) target.host = net::Endpoint{*handle.host, settings.port};
  return target;
}

SLPError findServices(Library& library, Handle& handle, Call& call, const client::ServiceQuery& query,
                      const config::Settings& settings, SLPHandle value, SLPSrvURLCallback* callback, void* cookie) {
  if (!query.filter.empty() && !wire::Filter::parse(query.filter)) return SLP_PARSE_ERROR;
  client::SocketTransport transport(settings, handle.interfaces, call.wakeup());
  Delivery delivery(call);
  const client::Outcome outcome = library.userAgent.findServices(
      query, settings, targetOf(handle, settings), transport, [&](std::string_view found, std::uint16_t lifetime) {
        const std::string url(found);
        return delivery.result([&] { return callback(value, url.c_str(), lifetime, SLP_OK, cookie); });
      });
  return delivery.end(outcome, [&] { callback(value, nullptr, 0, SLP_LAST_CALL, cookie); });
}

SLPError findAttributes(Library& library, Handle& handle, Call& call, const client::AttributeQuery& query,
                        const config::Settings& settings, SLPHandle value, SLPAttrCallback* callback, void* cookie) {
  client::SocketTransport transport(settings, handle.interfaces, call.wakeup());
  Delivery delivery(call);
  const client::Outcome outcome = library.userAgent.findAttributes(
      query, settings, targetOf(handle, settings), transport, [&](std::string_view found) {
        const std::string attributes(found);
        return delivery.result([&] { return callback(value, attributes.c_str(), SLP_OK, cookie); });
      });
  return delivery.end(outcome, [&] { callback(value, nullptr, SLP_LAST_CALL, cookie); });
}

/// The types are collected first: the callback gets one list (RFC 2614, section 4.3.2).
SLPError findTypes(Library& library, Handle& handle, Call& call, const client::TypeQuery& query,
                   const config::Settings& settings, SLPHandle value, SLPSrvTypeCallback* callback, void* cookie) {
  client::SocketTransport transport(settings, handle.interfaces, call.wakeup());
  std::string types;
  const client::Outcome outcome =
      library.userAgent.findTypes(query, settings, targetOf(handle, settings), transport, [&](std::string_view type) {
        if (!types.empty()) types += ',';
        types += type;
        return true;
      });
  Delivery delivery(call);
  if (!types.empty()) delivery.result([&] { return callback(value, types.c_str(), SLP_OK, cookie); });
  return delivery.end(outcome, [&] { callback(value, nullptr, SLP_LAST_CALL, cookie); });
}

/// RFC 2614, section 4.5.4: "*" is every authority, the empty one is IANA, whose name must not be given.
bool readAuthority(const char* text, std::optional<std::string>& authority) {
  authority = optionalText(text);
  if (!authority || wire::equalFolded(*authority, "IANA")) return false;
  if (*authority == "*") authority.reset();
  return true;
}

}  // namespace
}  // namespace slp::api

using namespace slp;
using namespace slp::api;

SLPError SLPFindSrvTypes(SLPHandle hSLP, const char* pcNamingAuthority, const char* pcScopeList,
                         SLPSrvTypeCallback callback, void* pvCookie) {
  return withHandle(hSLP, [&](Library& library, Handle& handle, Call& call) -> SLPError {
    const config::Settings settings = library.properties.settings();
    client::TypeQuery query;
    std::optional<std::string> scopes = scopesOr(pcScopeList, settings);
    if (!readAuthority(pcNamingAuthority, query.namingAuthority) || !scopes || callback == nullptr) {
      return SLP_PARAMETER_BAD;
    }
    query.scopes = std::move(*scopes);
    query.language = handle.language;
    return findTypes(library, handle, call, query, settings, hSLP, callback, pvCookie);
  });
}

SLPError SLPFindSrvs(SLPHandle hSLP, const char* pcServiceType, const char* pcScopeList, const char* pcSearchFilter,
                     SLPSrvURLCallback callback, void* pvCookie) {
  return withHandle(hSLP, [&](Library& library, Handle& handle, Call& call) -> SLPError {
    const config::Settings settings = library.properties.settings();
    std::optional<std::string> type = requiredText(pcServiceType);
    std::optional<std::string> scopes = scopesOr(pcScopeList, settings);
    std::optional<std::string> filter = optionalText(pcSearchFilter);
    if (!type || !scopes || !filter || callback == nullptr) return SLP_PARAMETER_BAD;
    const client::ServiceQuery query{std::move(*type), std::move(*scopes), std::move(*filter), handle.language};
    return findServices(library, handle, call, query, settings, hSLP, callback, pvCookie);
  });
}

SLPError SLPFindAttrs(SLPHandle hSLP, const char* pcURLOrServiceType, const char* pcScopeList, const char* pcAttrIds,
                      SLPAttrCallback callback, void* pvCookie) {
  return withHandle(hSLP, [&](Library& library, Handle& handle, Call& call) -> SLPError {
    const config::Settings settings = library.properties.settings();
    std::optional<std::string> urlOrType = requiredText(pcURLOrServiceType);
    std::optional<std::string> scopes = scopesOr(pcScopeList, settings);
    std::optional<std::string> tags = optionalText(pcAttrIds);
    if (!urlOrType || !scopes || !tags || callback == nullptr) return SLP_PARAMETER_BAD;
    const client::AttributeQuery query{std::move(*urlOrType), std::move(*scopes), std::move(*tags), handle.language};
    return findAttributes(library, handle, call, query, settings, hSLP, callback, pvCookie);
  });
}
