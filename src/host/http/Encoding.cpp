#include "host/http/Encoding.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>
#include <utility>
#include <variant>

#include "framework/utils/Log.h"
#include "host/http/ContentCoding.h"
#include "host/http/EntityTag.h"
#include "host/http/HeaderLists.h"
#include "host/http/Translate.h"

namespace host {
namespace {

/// Below this an answer goes into one packet as it is.
constexpr std::size_t kLeastToCompress = 1024;
constexpr std::array<std::string_view, 4> kLists{"/1.0/servers", "/1.0/sightings", "/1.0/peers", "/openapi.json"};
constexpr std::array<std::string_view, 4> kTextTypes{"text/", "application/json", "application/javascript",
                                                     "image/svg+xml"};
constexpr const char* kRevalidated = "no-cache, private";

/// What of a request the answer depends on here.
struct Wishes {
  bool isList = false;
  bool prefersGzip = false;
  std::string ifNoneMatch;
};

std::string_view headerOf(const Answer& answer, std::string_view name) {
  const auto found = std::find_if(answer.headers.begin(), answer.headers.end(),
                                  [name](const auto& header) { return equalIgnoringCase(header.first, name); });
  return found == answer.headers.end() ? std::string_view() : std::string_view(found->second);
}

bool isText(const Answer& answer) {
  const std::string_view type = headerOf(answer, "Content-Type");
  return type.empty() || std::any_of(kTextTypes.begin(), kTextTypes.end(),
                                     [type](std::string_view text) { return type.starts_with(text); });
}

bool mayBeCompressed(const Answer& answer) {
  return answer.body.size() >= kLeastToCompress && isText(answer);
}

void dependOnEncoding(Answer& answer) {
  const auto vary = std::find_if(answer.headers.begin(), answer.headers.end(),
                                 [](const auto& header) { return equalIgnoringCase(header.first, "Vary"); });
  if (vary == answer.headers.end()) return void(answer.headers.emplace_back("Vary", "Accept-Encoding"));
  vary->second += ", Accept-Encoding";
}

/// The tag by which the answer is known to the client already; "" when it is not. Both of its forms say the same, and
/// the client learns which of those that it named still holds.
std::string knownTag(const Wishes& wishes, const std::string& tag, bool compressed) {
  if (wishes.ifNoneMatch.empty()) return "";
  const std::string other = compressed ? tag : gzipTag(tag);
  const std::string own = compressed ? gzipTag(tag) : tag;
  if (namesTag(wishes.ifNoneMatch, own)) return own;
  return namesTag(wishes.ifNoneMatch, other) ? other : "";
}

void encode(Answer& answer, const Wishes& wishes) {
  if (wishes.isList && headerOf(answer, "Cache-Control").empty()) {
    answer.headers.emplace_back("Cache-Control", kRevalidated);
  }
  const bool canBeCompressed = mayBeCompressed(answer);
  const bool compressed = canBeCompressed && wishes.prefersGzip;
  if (canBeCompressed) dependOnEncoding(answer);
  std::string tag = entityTag(answer.body);
  if (std::string known = knownTag(wishes, tag, compressed); !known.empty()) {
    answer.status = 304;
    answer.body.clear();
    answer.headers.emplace_back("ETag", std::move(known));
    return;
  }
  if (compressed) {
    answer.body = gzip(answer.body);
    answer.headers.emplace_back("Content-Encoding", "gzip");
    tag = gzipTag(tag);
  }
  answer.headers.emplace_back("ETag", std::move(tag));
}

bool isToBeEncoded(const Answer& answer) {
  return answer.status == 200 && !answer.stream && !answer.body.empty() &&
         headerOf(answer, "Content-Encoding").empty() && headerOf(answer, "ETag").empty();
}

Answer encoded(Answer answer, const Wishes& wishes) {
  if (!isToBeEncoded(answer)) return answer;
  try {
    encode(answer, wishes);
    return answer;
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "Encoding:encode: failed:%1%") % error.what();
    return failureAnswer(500, "Internal error: the server's log says more");
  }
}

}  // namespace

Encoding::Encoding(std::string uriPrefix, Service& next) : mUriPrefix(std::move(uriPrefix)), mNext(next) {}

void Encoding::serve(ClientRequest request, Done done) {
  if (request.method != "GET" && request.method != "HEAD") return mNext.serve(std::move(request), std::move(done));
  const auto aim = readAim(request, mUriPrefix);
  const auto* read = std::get_if<Aim>(&aim);
  Wishes wishes{read != nullptr && std::find(kLists.begin(), kLists.end(), read->path) != kLists.end(),
                prefersGzip(request.headers.acceptEncoding), request.headers.ifNoneMatch};
  mNext.serve(std::move(request), [wishes = std::move(wishes), done = std::move(done)](Answer answer) {
    done(encoded(std::move(answer), wishes));
  });
}

}  // namespace host
