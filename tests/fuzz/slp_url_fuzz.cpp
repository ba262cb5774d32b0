#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "slp/wire/Escape.h"
#include "slp/wire/MulticastGroups.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/ServiceUrl.h"
#include "slp/wire/Text.h"

// A text, read as a service URL and put together again, as a service type, and escaped.
namespace {

using namespace slp::wire;

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "slp_url_fuzz: " << what << '\n';
  std::abort();
}

std::string written(const ServiceUrl& url) {
  if (!url.family.empty()) return url.type + ":/" + url.family + "/" + url.host + url.rest;
  const std::string host = url.host.find(':') == std::string::npos ? url.host : "[" + url.host + "]";
  return url.type + "://" + host + ":" + std::to_string(url.port) + url.rest;
}

void requireUrl(std::string_view text, const ServiceUrl& url) {
  require(url.port >= 0 && url.port <= 65'535, "a port out of range");
  require(url.host.find_first_of("/;") == std::string::npos, "a host with a part of the path");
  require(!url.family.empty() || url.host.find_first_of("[]") == std::string::npos, "a host with a bracket");
  require(!isServiceType(text), "a URL that is taken for a type");
  const std::string_view type = serviceTypeOf(text);
  require(type.empty() || type == trimmed(url.type), "two types of one URL");
  const auto again = parseServiceUrl(written(url));
  require(again.has_value(), "a URL that cannot be read again");
  require(again->type == url.type && again->host == url.host && again->port == url.port &&
              again->family == url.family && again->rest == url.rest,
          "a URL that is read otherwise again");
}

void requireType(std::string_view text) {
  const IndexKeys keys = indexKeys(text);
  require(keys.type == folded(text), "a type under another name");
  require(covers(text, text) == !keys.type.empty(), "a type that does not cover itself");
  require(keys.abstractType.empty() || covers(keys.abstractType, text), "a type that its abstract type does not cover");
  require(keys.abstractType.empty() || !covers(text, keys.abstractType), "a type that covers its abstract type");
  require(namingAuthority(text).size() <= text.size(), "an authority that is no part of its type");
  require(serviceTypeHash(text) < 1024, "a hash out of range");
}

void requireEscapes(std::string_view text) {
  const auto value = escape(text, TextKind::kValue);
  require(value && unescape(*value, TextKind::kValue) == text, "an escaped value that is another");
  require(unescapeLeniently(*value) == text, "an escaped value that is another to a lenient reader");
  if (const auto tag = escape(text, TextKind::kTag))
    require(unescape(*tag, TextKind::kTag) == text, "an escaped tag that is another");
  if (const auto plain = unescape(text, TextKind::kValue); plain && !isOpaque(text))
    require(*plain == unescapeLeniently(text), "a text with two meanings");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto url = parseServiceUrl(text)) requireUrl(text, *url);
  requireType(text);
  requireEscapes(text);
  return 0;
}
