#include "host/http/Routes.h"

#include <utility>
#include <variant>

#include "host/http/Translate.h"

namespace host {
namespace {

Answer wrongMethod(const std::map<std::string, Routes::Handler>& handlers) {
  std::string methods;
  for (const auto& [method, handler] : handlers) {
    methods += (methods.empty() ? "" : ", ") + method + (method == "GET" ? ", HEAD" : "");
  }
  Answer answer = failureAnswer(405, "The resource takes " + methods);
  answer.headers.emplace_back("Allow", methods);
  return answer;
}

}  // namespace

Routes::Routes(std::string uriPrefix, Service& next) : mUriPrefix(std::move(uriPrefix)), mNext(next) {}

void Routes::add(const std::string& method, const std::string& path, Handler handler) {
  mHandlers[path][method] = std::move(handler);
}

void Routes::serve(ClientRequest request, Done done) {
  const auto aim = readAim(request, mUriPrefix);
  const auto route = std::holds_alternative<Aim>(aim) ? mHandlers.find(std::get<Aim>(aim).path) : mHandlers.end();
  if (route == mHandlers.end()) return mNext.serve(std::move(request), std::move(done));
  const auto handler = route->second.find(request.method == "HEAD" ? "GET" : request.method);
  if (handler == route->second.end()) return done(wrongMethod(route->second));
  handler->second(std::move(request), std::move(done));
}

}  // namespace host
