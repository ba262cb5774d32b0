#include "slp/agent/GroupList.h"

#include <algorithm>
#include <array>

#include "slp/wire/Limits.h"
#include "slp/wire/MulticastGroups.h"
#include "slp/wire/ServiceType.h"

namespace slp::agent {
namespace {

using wire::MulticastScope;

// In the order of their worth when there are too many.
constexpr std::array kWideScopes{MulticastScope::kLink, MulticastScope::kSite, MulticastScope::kAdmin,
                                 MulticastScope::kRealm, MulticastScope::kInterface};
constexpr std::array kLinkScopes{MulticastScope::kLink, MulticastScope::kInterface};

bool hasWideAddress(const net::Interface& interface) {
  return std::any_of(interface.addresses.begin(), interface.addresses.end(), [](const auto& one) {
    return one.address.family == net::Family::kV6 && !one.address.isLinkLocal();
  });
}

bool inScope(const net::Interface& interface, MulticastScope scope) {
  if (interface.firstOf(net::Family::kV6) == nullptr) return false;
  return hasWideAddress(interface) || std::find(kLinkScopes.begin(), kLinkScopes.end(), scope) != kLinkScopes.end();
}

/// The texts that searchers may hash, each once for each group of the result.
std::vector<std::string> hashedTexts(const std::vector<std::string>& types) {
  std::array<bool, 1'024> taken{};
  std::vector<std::string> texts;
  const auto add = [&](std::string_view text) {
    if (text.empty()) return;
    bool& known = taken[wire::serviceTypeHash(text)];
    if (!known) texts.emplace_back(text);
    known = true;
  };
  add(wire::kServiceAgentType);
  for (const std::string& type : types) {
    const wire::IndexKeys keys = wire::indexKeys(type);
    add(type);
    add(keys.type);
    add(keys.abstractType);
    if (!keys.abstractType.empty()) add(std::string_view(type).substr(0, type.rfind(':')));
  }
  return texts;
}

}  // namespace

std::set<net::Membership> groupsFor(const std::vector<net::Interface>& interfaces,
                                    const std::vector<std::string>& types, bool useIpv4, bool useIpv6) {
  std::set<net::Membership> result;
  const auto joinV6 = [&](MulticastScope scope, const wire::GroupV6& group) {
    for (const net::Interface& interface : interfaces)
      if (inScope(interface, scope) && result.size() < limits::kMaxMemberships)
        result.insert({net::Address::v6(group), interface.index});
  };
  if (useIpv4)
    for (const net::Interface& interface : interfaces)
      if (interface.firstOf(net::Family::kV4) != nullptr)
        result.insert({net::Address::v4(wire::kGroupV4), interface.index});
  if (!useIpv6) return result;
  for (const MulticastScope scope : kWideScopes) {
    joinV6(scope, wire::generalGroup(scope));
    joinV6(scope, wire::directoryAgentGroup(scope));
  }
  const std::vector<std::string> texts = hashedTexts(types);
  for (const MulticastScope scope : kWideScopes)
    for (const std::string& text : texts)
      joinV6(scope, wire::serviceGroup(text, scope));
  return result;
}

}  // namespace slp::agent
