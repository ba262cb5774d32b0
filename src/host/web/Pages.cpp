#include "host/web/Pages.h"

#include <string>

#include "host/http/Translate.h"

namespace host {
namespace {

/// Whatever a text of a peer might do to the page: no script runs but the page's own files, and nothing is asked of
/// anybody but this server.
constexpr std::string_view kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
    "base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

/// The last part of the prefix with its slash, when that is what is missing; the page's own addresses are relative to
/// what follows the last slash. Relative as well, because a proxy may put something before it.
std::string missingSlash(const std::string& target) {
  const std::string path = target.substr(0, target.find('?'));
  if (path.ends_with('/')) return "";
  const std::string prefix(pathOfPrefix(path));
  return prefix.empty() ? "" : prefix.substr(prefix.rfind('/') + 1) + "/";
}

Answer redirect(const std::string& location) {
  Answer answer = failureAnswer(308, "The page is at " + location);
  answer.headers = {{"Location", location}};
  return answer;
}

}  // namespace

Answer pageAnswer(const PageFile& file) {
  Answer answer;
  answer.body = file.contents;
  answer.headers = {{"Content-Type", std::string(file.contentType)},
                    {"Content-Security-Policy", std::string(kContentPolicy)},
                    {"Cache-Control", "no-cache"}};
  return answer;
}

void addPages(Routes& routes) {
  for (const PageFile& file : pageFiles()) {
    routes.add("GET", std::string(file.path), [&file](const ClientRequest& request, const Service::Done& done) {
      const std::string location = file.path == "/" ? missingSlash(request.target) : "";
      done(location.empty() ? pageAnswer(file) : redirect(location));
    });
  }
}

}  // namespace host
