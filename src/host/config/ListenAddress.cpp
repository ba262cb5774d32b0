#include "host/config/ListenAddress.h"

#include <charconv>
#include <optional>

#include "framework/utils/IpAddress.h"
#include "host/net/Address.h"

namespace host {
namespace {

std::optional<std::uint16_t> parsePort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return port;
}

Failure notAnAddress(std::string_view text) {
  return Failure{
      "\"" + std::string(text) +
      "\" is not an address and port: write 192.0.2.1:8443, [2001:db8::1]:8443, or *:8443 for every address"};
}

}  // namespace

Result<ListenAddress> parseListenAddress(std::string_view text) {
  const auto colon = text.rfind(':');
  if (colon == std::string_view::npos) return notAnAddress(text);
  std::string_view address = text.substr(0, colon);
  const auto port = parsePort(text.substr(colon + 1));
  if (!port) return notAnAddress(text);
  if (address.empty() || address == "*") return ListenAddress{"", *port};
  const bool bracketed = address.size() > 2 && address.front() == '[' && address.back() == ']';
  if (bracketed) address = address.substr(1, address.size() - 2);
  if (bracketed ? !utils::isIPv6Text(address) : !utils::isIPv4Text(address)) return notAnAddress(text);
  return ListenAddress{std::string(address), *port};
}

std::string toString(const ListenAddress& listen) {
  return (listen.address.empty() ? "*" : bracketed(listen.address)) + ":" + std::to_string(listen.port);
}

}  // namespace host
