#include "host/web/Pages.h"

#include <string>

namespace host {
namespace {

/// Whatever a text of a peer might do to the page: no script runs but the page's own files, and nothing is asked of
/// anybody but this server.
constexpr std::string_view kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
    "base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

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
    routes.add("GET", std::string(file.path),
               [&file](const ClientRequest&, const Service::Done& done) { done(pageAnswer(file)); });
  }
}

}  // namespace host
