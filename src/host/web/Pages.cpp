#include "host/web/Pages.h"

#include <algorithm>
#include <string>

namespace host {
namespace {

/// Whatever a text of a peer might do to the page: no script runs but the page's own files, and nothing is asked of
/// anybody but this server.
constexpr std::string_view kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
    "base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

/// RFC 9110 section 13.1.2: a list of tags, or "*"; the comparison is the weak one.
bool isNoneMatchFailed(std::string_view header, std::string_view tag) {
  while (!header.empty()) {
    const auto comma = header.find(',');
    std::string_view each = header.substr(0, comma);
    header.remove_prefix(comma == std::string_view::npos ? header.size() : comma + 1);
    each.remove_prefix(std::min(each.find_first_not_of(" \t"), each.size()));
    each = each.substr(0, each.find_last_not_of(" \t") + 1);
    if (each.starts_with("W/")) each.remove_prefix(2);
    if (each == tag || each == "*") return true;
  }
  return false;
}

}  // namespace

Answer pageAnswer(const PageFile& file, const ClientRequest& request) {
  Answer answer;
  answer.headers = {{"Content-Type", std::string(file.contentType)},
                    {"Content-Security-Policy", std::string(kContentPolicy)},
                    {"X-Content-Type-Options", "nosniff"},
                    {"Referrer-Policy", "no-referrer"},
                    {"Cache-Control", "no-cache"},
                    {"ETag", std::string(file.entityTag)}};
  if (isNoneMatchFailed(request.headers.ifNoneMatch, file.entityTag)) {
    answer.status = 304;
  } else {
    answer.body = file.contents;
  }
  return answer;
}

void addPages(Routes& routes) {
  for (const PageFile& file : pageFiles()) {
    routes.add("GET", std::string(file.path),
               [&file](const ClientRequest& request, const Service::Done& done) { done(pageAnswer(file, request)); });
  }
}

}  // namespace host
