#include "host/peers/PeerPolicy.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <cstddef>
#include <netinet/in.h>
#include <utility>

#include "framework/utils/IpAddress.h"

namespace host {
namespace {

constexpr unsigned kIpV4Bits = 32;
constexpr unsigned kIpV6Bits = 128;

/// A text without zone as bytes and back, so that every way to write an address comes down to one.
std::string canonical(std::string_view text) {
  const std::string plain(text.substr(0, text.find('%')));
  const int family = utils::isIPv4Text(plain) ? AF_INET : AF_INET6;
  in6_addr bytes{};
  if (inet_pton(family, plain.c_str(), &bytes) != 1) return "";
  std::array<char, INET6_ADDRSTRLEN> result{};
  if (family == AF_INET6 && IN6_IS_ADDR_V4MAPPED(&bytes) != 0) {
    return inet_ntop(AF_INET, &bytes.s6_addr[12], result.data(), result.size());
  }
  return inet_ntop(family, &bytes, result.data(), result.size());
}

std::string networkAddress(const std::string& address, unsigned prefixLength) {
  const int family = utils::isIPv4Text(address) ? AF_INET : AF_INET6;
  const std::size_t size = family == AF_INET ? 4 : 16;
  std::array<unsigned char, 16> bytes{};
  inet_pton(family, address.c_str(), bytes.data());
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t kept = std::clamp<std::size_t>(prefixLength, 8 * i, 8 * i + 8) - 8 * i;
    bytes[i] = static_cast<unsigned char>(bytes[i] & (0xFFU << (8 - kept)));
  }
  std::array<char, INET6_ADDRSTRLEN> result{};
  return inet_ntop(family, bytes.data(), result.data(), result.size());
}

/// "This network", multicast, what is reserved with the broadcast address in it, and the unspecified address.
bool isNobodys(const std::string& address) {
  static const std::vector<Link> kNobodys = {
      {"0.0.0.0", 8}, {"224.0.0.0", 4}, {"240.0.0.0", 4}, {"::", kIpV6Bits}, {"ff00::", 8}};
  return isOnLink(address, kNobodys);
}

const std::vector<Link>& privateNetworks() {
  static const std::vector<Link> kPrivate = {{"10.0.0.0", 8},     {"172.16.0.0", 12}, {"192.168.0.0", 16},
                                             {"169.254.0.0", 16}, {"fc00::", 7},      {"fe80::", 10}};
  return kPrivate;
}

Failure notANetwork(std::string_view text) {
  return {"\"" + std::string(text) + "\" is no network: write 192.0.2.0/24, 2001:db8::/32 or a single address"};
}

}  // namespace

Result<Link> readNetwork(std::string_view text) {
  const auto slash = text.find('/');
  const std::string_view host = text.substr(0, slash);
  if (!isIpAddress(host) || host.find('%') != std::string_view::npos) return notANetwork(text);
  const std::string address = canonical(host);
  if (utils::isIPv4Text(address) != utils::isIPv4Text(host)) return notANetwork(text);
  const unsigned bits = utils::isIPv4Text(address) ? kIpV4Bits : kIpV6Bits;
  unsigned length = bits;
  if (slash != std::string_view::npos) {
    const std::string_view digits = text.substr(slash + 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (error != std::errc() || end != digits.data() + digits.size() || length > bits) return notANetwork(text);
  }
  const std::string network = networkAddress(address, length);
  if (network == address) return Link{address, length};
  return Failure{"\"" + std::string(text) + "\" is an address inside of a network, which is " + network + "/" +
                 std::to_string(length)};
}

PeerPolicy::PeerPolicy(std::vector<Link> networks, OwnLinks ownLinks)
    : mIsConfigured(!networks.empty()), mNetworks(std::move(networks)), mOwnLinks(std::move(ownLinks)) {
  const auto isOfLoopback = [](const Link& network) { return isLoopbackAddress(network.address); };
  std::copy_if(mNetworks.begin(), mNetworks.end(), std::back_inserter(mLoopback), isOfLoopback);
}

std::optional<std::string> PeerPolicy::refusal(std::string_view address) const {
  const std::string plain = canonical(address);
  if (!plain.empty() && isAllowed(plain)) return std::nullopt;
  return "servers at " + std::string(address) +
         " are not called: the setting peers.allowed_networks names the networks";
}

bool PeerPolicy::isAllowed(const std::string& address) const {
  if (isNobodys(address)) return false;
  if (isLoopbackAddress(address)) return isOnLink(address, mLoopback);
  if (mIsConfigured) return isOnLink(address, mNetworks);
  return isOnLink(address, privateNetworks()) || (mOwnLinks && isOnLink(address, mOwnLinks()));
}

}  // namespace host
