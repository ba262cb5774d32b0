#include "host/http/Routes.h"

#include <utility>
#include <variant>

#include "framework/http/UriTemplate.h"
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

const Routes::Handlers* Routes::find(const std::string& path, std::string& parameter) const {
  const auto exact = mHandlers.find(path);
  if (exact != mHandlers.end() && !path.ends_with('}')) return &exact->second;
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const auto below = mHandlers.lower_bound(folder + '{');
  if (below == mHandlers.end() || !below->first.starts_with(folder + '{')) return nullptr;
  auto decoded = http::percentDecode(path.substr(folder.size()));
  if (!decoded || decoded->empty()) return nullptr;
  parameter = std::move(*decoded);
  return &below->second;
}

void Routes::serve(ClientRequest request, Done done) {
  const auto aim = readAim(request, mUriPrefix);
  const Handlers* handlers = nullptr;
  if (const auto* read = std::get_if<Aim>(&aim)) handlers = find(read->path, request.pathParameter);
  if (handlers == nullptr) return mNext.serve(std::move(request), std::move(done));
  const auto handler = handlers->find(request.method == "HEAD" ? "GET" : request.method);
  if (handler == handlers->end()) return done(wrongMethod(*handlers));
  handler->second(std::move(request), std::move(done));
}

std::vector<std::pair<std::string, std::string>> Routes::all() const {
  std::vector<std::pair<std::string, std::string>> found;
  for (const auto& [path, handlers] : mHandlers) {
    for (const auto& [method, handler] : handlers) {
      found.emplace_back(method, path);
    }
  }
  return found;
}

}  // namespace host
