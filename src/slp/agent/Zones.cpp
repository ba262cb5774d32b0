#include "slp/agent/Zones.h"

#include <algorithm>
#include <optional>

#include "slp/wire/ServiceUrl.h"
#include "slp/wire/Text.h"

namespace slp::agent {

namespace {

/// The scopes of RFC 4291 and, for site-local addresses, of RFC 3111, figure 1.
enum class Reach { kInterface, kLink, kSite, kGlobal };

Reach reachOf(const net::Address& address) {
  if (address.isLoopback()) return Reach::kInterface;
  if (address.isLinkLocal()) return Reach::kLink;
  const bool site = address.family == net::Family::kV6 && address.bytes[0] == 0xFE && (address.bytes[1] & 0xC0) == 0xC0;
  return site ? Reach::kSite : Reach::kGlobal;
}

/// Told from the first characters of the host, because almost every URL is neither and this is asked for each: fe80 to
/// feff, and ::1.
bool mayBeLocal(std::string_view url) {
  const auto slashes = url.find("://");
  if (slashes == std::string_view::npos) return false;
  auto host = url.substr(slashes + 3);
  host = host.substr(0, host.find('/'));
  if (const auto user = host.rfind('@'); user != std::string_view::npos) host.remove_prefix(user + 1);
  if (!host.empty() && host.front() == '[') host.remove_prefix(1);
  if (host.empty()) return false;
  return host.front() == ':' || host.front() == '0' ||
         (host.size() > 1 && wire::lowered(host[0]) == 'f' && wire::lowered(host[1]) == 'e');
}

std::optional<net::Address> literalOf(std::string_view url) {
  const auto parsed = wire::parseServiceUrl(url);
  return parsed ? net::Address::parse(parsed->host) : std::nullopt;
}

/// The interface on whose link the address is, if it is ours; 0 when that is not known.
std::uint32_t zoneOf(const net::Address& address, const std::vector<net::Interface>& interfaces) {
  if (address.zone != 0) return address.zone;
  for (const auto& interface : interfaces) {
    for (const auto& own : interface.addresses) {
      if (own.address.family == address.family && own.address.bytes == address.bytes) return interface.index;
    }
  }
  return 0;
}

}  // namespace

bool isThisMachine(const Source& source, const std::vector<net::Interface>& interfaces) {
  const auto& address = source.from.address;
  if (address.isLoopback()) return true;
  if (!net::isOwn(interfaces, address)) return false;
  if (source.tcp || source.interface == 0 || address.family == net::Family::kV4) return true;
  return std::any_of(interfaces.begin(), interfaces.end(), [&source](const net::Interface& interface) {
    return interface.loopback && interface.index == source.interface;
  });
}

bool mayTell(std::string_view url, const Source& source, const std::vector<net::Interface>& interfaces) {
  if (!mayBeLocal(url)) return true;
  const auto service = literalOf(url);
  if (!service || service->family == net::Family::kV4) return true;
  const auto reach = reachOf(*service);
  if (reach == Reach::kGlobal || isThisMachine(source, interfaces)) return true;
  const auto& sender = source.from.address;
  if (sender.family == net::Family::kV4 || reach < reachOf(sender)) return false;
  if (reach != Reach::kLink || sender.zone == 0) return true;
  const auto zone = zoneOf(*service, interfaces);
  return zone == 0 || zone == sender.zone;
}

}  // namespace slp::agent
