#include "host/security/AccessTable.h"

#include <array>

#include "framework/http/UriTemplate.h"

namespace host {
namespace {

struct Rule {
  std::string_view method;
  std::string_view path;  ///< a template; "..." at its end stands for anything
  Need need;
};

/// All that differs from "GET for viewers, everything else for operators". SECURITY.md shows every resource.
constexpr std::array kRules{
    Rule{"GET", "/", Need::kNothing},
    Rule{"GET", "/web/...", Need::kNothing},
    Rule{"GET", "/healthz", Need::kNothing},
    Rule{"GET", "/readyz", Need::kNothing},
    Rule{"GET", "/1.0/servers/{server_id}", Need::kNothing},
    Rule{"GET", "/1.0/session", Need::kNothing},
    Rule{"POST", "/1.0/session", Need::kNothing},
    Rule{"DELETE", "/1.0/session", Need::kLogin},
    Rule{"POST", "/1.0/setup", Need::kLoopback},
    Rule{"GET", "/1.0/tokens", Need::kLogin},
    Rule{"POST", "/1.0/tokens", Need::kLogin},
    Rule{"DELETE", "/1.0/tokens/{name}", Need::kLogin},
};

bool matches(std::string_view pattern, std::string_view path) {
  constexpr std::string_view kAnything = "...";
  if (pattern.ends_with(kAnything)) return path.starts_with(pattern.substr(0, pattern.size() - kAnything.size()));
  return http::matchUriTemplate(pattern, path).has_value();
}

}  // namespace

Need needOf(std::string_view method, std::string_view path) {
  if (method == "HEAD") method = "GET";
  for (const Rule& rule : kRules) {
    if (rule.method == method && matches(rule.path, path)) return rule.need;
  }
  return isRead(method) ? Need::kViewer : Need::kOperator;
}

bool isRead(std::string_view method) {
  return method == "GET" || method == "HEAD";
}

std::string_view needName(Need need) {
  constexpr std::array<std::string_view, 5> kNames{"everybody", "everybody on loopback", "login", "viewer", "operator"};
  return kNames[static_cast<std::size_t>(need)];
}

}  // namespace host
