#include "slp/wire/ServiceUrl.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>

#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

constexpr auto kNone = std::string_view::npos;

bool isDecimal(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char character) { return character >= '0' && character <= '9'; });
}

/// The name or number of an interface; a percent sign for the sake of "%25".
bool isZone(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
    const char lower = lowered(character);
    return (lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9') ||
           std::string_view("%-._~").find(lower) != kNone;
  });
}

/// With or without the zone of a link-local address ("fe80::1%eth0").
bool isIpv6(std::string_view text) {
  const std::size_t percent = text.find('%');
  if (percent != kNone && !isZone(text.substr(percent + 1))) return false;
  const std::string_view address = text.substr(0, percent);
  std::array<char, INET6_ADDRSTRLEN> terminated{};
  if (address.size() >= terminated.size()) return false;
  std::copy(address.begin(), address.end(), terminated.begin());
  in6_addr parsed{};
  return inet_pton(AF_INET6, terminated.data(), &parsed) == 1;
}

bool readPort(std::string_view text, int& port) {
  constexpr int kMaxPort = 65'535;
  if (!isDecimal(text)) return false;
  port = 0;
  for (const char digit : text) {
    port = port * 10 + (digit - '0');
    if (port > kMaxPort) return false;
  }
  return true;
}

bool readBracketed(std::string_view text, ServiceUrl& url) {
  const std::size_t close = text.find(']');
  if (close == kNone || !isIpv6(text.substr(1, close - 1))) return false;
  url.host = text.substr(1, close - 1);
  const std::string_view behind = text.substr(close + 1);
  return behind.empty() || (behind.front() == ':' && readPort(behind.substr(1), url.port));
}

/// An address with several colons and no brackets. "2001:db8::5:8443" can be read in two ways: the port wins, because
/// those who leave the brackets out do not leave the port out.
bool readBareIpv6(std::string_view text, ServiceUrl& url) {
  const std::size_t colon = text.rfind(':');
  const std::string_view port = text.substr(colon + 1);
  if (isDecimal(port) && isIpv6(text.substr(0, colon))) {
    url.host = text.substr(0, colon);
    return readPort(port, url.port);
  }
  url.host = text;
  return isIpv6(text);
}

bool readHostPort(std::string_view text, ServiceUrl& url) {
  if (!text.empty() && text.front() == '[') return readBracketed(text, url);
  if (text.find_first_of("[]") != kNone) return false;
  const std::size_t colon = text.find(':');
  if (colon != text.rfind(':')) return readBareIpv6(text, url);
  url.host = text.substr(0, colon);
  return colon == kNone || readPort(text.substr(colon + 1), url.port);
}

/// What follows "//": [user "@"] host [":" port], then a path or attributes. A user may have semicolons, so that an
/// "@" before the path ends the user, as in every other URL.
bool readIpSite(std::string_view text, ServiceUrl& url) {
  const std::size_t user = text.substr(0, text.find_first_of("/?#")).rfind('@');
  if (user != kNone) text.remove_prefix(user + 1);
  const std::size_t end = std::min(text.find_first_of("/?#;"), text.size());
  url.rest = text.substr(end);
  return readHostPort(text.substr(0, end), url);
}

/// What follows "/": a family, "/", and its kind of address as it stands.
bool readOtherSite(std::string_view text, ServiceUrl& url) {
  const std::size_t slash = text.find('/');
  if (slash == kNone) return false;
  url.family = folded(text.substr(0, slash));
  if (url.family != "at" && url.family != "ipx") return false;
  text.remove_prefix(slash + 1);
  const std::size_t end = std::min(text.find_first_of("/;"), text.size());
  url.host = text.substr(0, end);
  url.rest = text.substr(end);
  return true;
}

}  // namespace

std::optional<ServiceUrl> parseServiceUrl(std::string_view text) {
  constexpr std::string_view kSite = ":/";
  if (std::any_of(text.begin(), text.end(), isControl)) return std::nullopt;
  const std::size_t site = text.find(kSite);
  if (site == kNone) return std::nullopt;
  ServiceUrl url;
  url.type = text.substr(0, site);
  text.remove_prefix(site + kSite.size());
  const bool ip = !text.empty() && text.front() == '/';
  if (ip) text.remove_prefix(1);
  if (!(ip ? readIpSite(text, url) : readOtherSite(text, url))) return std::nullopt;
  return url;
}

}  // namespace slp::wire
