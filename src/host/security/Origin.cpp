#include "host/security/Origin.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cctype>
#include <optional>

namespace host {
namespace {

using Bytes6 = std::array<unsigned char, 16>;

constexpr Bytes6 kMappedStart{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};  // RFC 4291, section 2.5.5.2
constexpr std::size_t kMappedStartBytes = 12;
constexpr std::size_t kNetworkBytes = 8;

std::optional<Bytes6> parse6(std::string_view address) {
  Bytes6 bytes{};
  const std::string text(address.substr(0, address.find('%')));
  if (inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1) return std::nullopt;
  return bytes;
}

bool isMapped(const Bytes6& bytes) {
  return std::equal(bytes.begin(), bytes.begin() + kMappedStartBytes, kMappedStart.begin());
}

std::string text4(const unsigned char* bytes) {
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, bytes, text.data(), text.size());
  return text.data();
}

std::string lower(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

/// The host of "host:port", IPv6 without its brackets.
std::string_view hostOf(std::string_view authority) {
  if (authority.starts_with('[')) {
    const auto end = authority.find(']');
    if (end == std::string_view::npos) return {};
    const std::string_view address = authority.substr(1, end - 1);
    const std::string_view rest = authority.substr(end + 1);
    const bool isOne = address.find(':') != std::string_view::npos && (rest.empty() || rest.starts_with(':'));
    return isOne ? address : std::string_view();
  }
  return authority.substr(0, authority.find(':'));
}

}  // namespace

std::string networkOf(std::string_view address) {
  auto bytes = parse6(address);
  if (!bytes) return std::string(address);
  if (isMapped(*bytes)) return text4(bytes->data() + kMappedStartBytes);
  std::fill(bytes->begin() + kNetworkBytes, bytes->end(), static_cast<unsigned char>(0));
  std::array<char, INET6_ADDRSTRLEN> text{};
  inet_ntop(AF_INET6, bytes->data(), text.data(), text.size());
  const bool isLinkLocal = (*bytes)[0] == 0xFE && ((*bytes)[1] & 0xC0) == 0x80;
  const auto zone = isLinkLocal ? address.find('%') : std::string_view::npos;
  return std::string(text.data()) + "/64" + std::string(zone == std::string_view::npos ? "" : address.substr(zone));
}

bool isLocal(const ClientRequest& request) {
  const std::string host = lower(hostOf(request.headers.host));
  return isLoopbackAddress(request.remoteAddress) && !request.headers.isForwarded &&
         (host == "localhost" || isLoopbackAddress(host));
}

std::string foreignOrigin(const ClientRequest& request) {
  const RequestHeaders& headers = request.headers;
  if (!headers.fetchSite.empty() && headers.fetchSite != "same-origin" && headers.fetchSite != "none") {
    return "it comes from a page of another server";
  }
  if (headers.origin.empty()) return "";
  const auto scheme = headers.origin.find("://");
  // Without TLS there may be some in front of this server.
  const bool isFit =
      scheme != std::string::npos && (!request.isSecure || lower(headers.origin.substr(0, scheme)) == "https");
  const bool isOwn = isFit && lower(headers.origin.substr(scheme + 3)) == lower(headers.host);
  return isOwn ? "" : "its Origin is not this server";
}

}  // namespace host
