#include "host/http/Translate.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "framework/http/StatusBlock.h"
#include "json/reader.h"
#include "json/writer.h"

namespace host {
namespace {

using http::RestApi;

struct Verb {
  std::string_view method;
  RestApi::RestVerb_ verb;
};

constexpr std::array kVerbs{Verb{"GET", RestApi::GET}, Verb{"HEAD", RestApi::GET}, Verb{"POST", RestApi::POST},
                            Verb{"PUT", RestApi::PUT}, Verb{"DELETE", RestApi::DELETE}};

bool startsWithIgnoringCase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && std::equal(start.begin(), start.end(), text.begin(), [](char a, char b) {
           return a == static_cast<char>(std::tolower(static_cast<unsigned char>(b)));
         });
}

/// What follows scheme and authority; the whole text when it begins with neither.
std::string_view withoutAuthority(std::string_view uri) {
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (!startsWithIgnoringCase(uri, scheme)) continue;
    const auto path = uri.find_first_of("/?", scheme.size());
    return path == std::string_view::npos || uri[path] == '?' ? std::string_view("/") : uri.substr(path);
  }
  return uri;
}

std::string_view withoutPrefix(std::string_view path, std::string_view uriPrefix) {
  const std::string_view prefix = pathOfPrefix(uriPrefix);
  if (!prefix.empty() && path == prefix) return "/";
  const bool matches = !prefix.empty() && path.starts_with(prefix) && path.substr(prefix.size()).starts_with('/');
  return matches ? path.substr(prefix.size()) : path;
}

bool isPlainText(std::string_view target) {
  return std::all_of(target.begin(), target.end(), [](char c) { return c > 0x20 && c < 0x7F && c != '#'; });
}

Answer badBody(const std::string& what, const json::Reader::Location& where) {
  return failureAnswer(400, "The body is not a JSON object: " + what + " (line " + std::to_string(where.m_nLine + 1) +
                                ", column " + std::to_string(where.m_nLineOffset + 1) + ")");
}

}  // namespace

Answer failureAnswer(int status, const std::string& text) {
  Answer answer;
  answer.status = status;
  json::Writer::Write(http::statusBlock(status, text), answer.body);
  return answer;
}

std::string_view pathOfPrefix(std::string_view uriPrefix) {
  std::string_view prefix = withoutAuthority(uriPrefix);
  while (prefix.ends_with('/')) {
    prefix.remove_suffix(1);
  }
  return prefix;
}

std::variant<Aim, Answer> readAim(const ClientRequest& request, std::string_view uriPrefix) {
  if (!isPlainText(request.target))
    return failureAnswer(400, "The request target holds what no URI has, such as a blank or \"#\": percent-encode it");
  std::string_view path = withoutAuthority(request.target);
  path = path.substr(0, path.find('?'));
  if (!path.starts_with('/')) return failureAnswer(400, "The request target must be a path, such as /1.0/servers");
  Aim aim;
  aim.path = withoutPrefix(path, uriPrefix);
  const auto verb =
      std::find_if(kVerbs.begin(), kVerbs.end(), [&](const Verb& each) { return each.method == request.method; });
  aim.knownVerb = verb != kVerbs.end();
  if (aim.knownVerb) aim.verb = verb->verb;
  return aim;
}

std::variant<json::Object, Answer> readBody(std::string_view text) {
  json::Object body;
  if (text.empty()) return body;
  try {
    json::Reader::Read(body, text);
    return body;
  } catch (const json::Reader::ScanException& error) {
    return badBody(error.what(), error.m_locError);
  } catch (const json::Reader::ParseException& error) {
    return badBody(error.what(), error.m_locTokenBegin);
  }
}

}  // namespace host
