#include <algorithm>
#include <utility>

#include "slp/api/Arguments.h"
#include "slp/api/Library.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/Text.h"

namespace slp::api {
namespace {

/// RFC 2614, section 4.5.1: the URL's own type wins when it is a "service:" URL. The bare word "service" is no type,
/// but callers pass it to say that there is one in the URL.
std::string typeOf(const std::string& url, const std::string& argument) {
  const std::string fromUrl(wire::serviceTypeOf(url));
  const std::string folded = wire::folded(argument);
  const bool urlDecides = folded.empty() || folded == "service" || wire::hasServiceScheme(fromUrl);
  return urlDecides ? fromUrl : argument;
}

SLPError add(Library& library, const agent::Registration& registration, const config::Settings& settings) {
  const std::string& url = registration.url;
  const bool hasControls = std::any_of(url.begin(), url.end(), wire::isControl);
  if (registration.serviceType.empty() || hasControls) return SLP_INVALID_REGISTRATION;
  return library.serviceAgent.add(registration, settings);
}

/// What became of the operation is reported and returned; a call that could not begin is only returned.
SLPError report(Call& call, SLPRegReport* callback, SLPHandle handle, SLPError result, void* cookie) {
  call.run([&] {
    callback(handle, result, cookie);
    return true;
  });
  return result;
}

}  // namespace
}  // namespace slp::api

using namespace slp;
using namespace slp::api;

SLPError SLPReg(SLPHandle hSLP, const char* pcSrvURL, const unsigned short usLifetime, const char* pcSrvType,
                const char* pcAttrs, SLPBoolean fresh, SLPRegReport callback, void* pvCookie) {
  return withHandle(hSLP, [&](Library& library, Handle& handle, Call& call) -> SLPError {
    std::optional<std::string> url = requiredText(pcSrvURL);
    const std::optional<std::string> type = optionalText(pcSrvType);
    std::optional<std::string> attributes = optionalText(pcAttrs);
    if (!url || !type || !attributes || usLifetime == 0 || callback == nullptr) return SLP_PARAMETER_BAD;
    if (fresh == SLP_FALSE) return SLP_NOT_IMPLEMENTED;
    const config::Settings settings = library.properties.settings();
    agent::Registration registration;
    registration.serviceType = typeOf(*url, *type);
    registration.url = std::move(*url);
    registration.scopes = settings.scopes;
    registration.attributes = std::move(*attributes);
    registration.language = handle.language;
    registration.lifetime = usLifetime;
    return report(call, callback, hSLP, add(library, registration, settings), pvCookie);
  });
}

SLPError SLPDereg(SLPHandle hSLP, const char* pcSrvURL, SLPRegReport callback, void* pvCookie) {
  return withHandle(hSLP, [&](Library& library, Handle&, Call& call) -> SLPError {
    const std::optional<std::string> url = requiredText(pcSrvURL);
    if (!url || callback == nullptr) return SLP_PARAMETER_BAD;
    return report(call, callback, hSLP, library.serviceAgent.remove(*url), pvCookie);
  });
}

SLPError SLPDelAttrs(SLPHandle hSLP, const char* pcURL, const char* pcAttrs, SLPRegReport callback, void*) {
  return withHandle(hSLP, [&](Library&, Handle&, Call&) -> SLPError {
    const bool good = requiredText(pcURL) && requiredText(pcAttrs) && callback != nullptr;
    return good ? SLP_NOT_IMPLEMENTED : SLP_PARAMETER_BAD;
  });
}
