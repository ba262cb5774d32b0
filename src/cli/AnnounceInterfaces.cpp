#include "cli/AnnounceInterfaces.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <string_view>

namespace cli {
namespace {

in_addr addressOf(const sockaddr& address) {
  sockaddr_in ipV4{};
  std::memcpy(&ipV4, &address, sizeof ipV4);
  return ipV4.sin_addr;
}

void addOnce(std::vector<AnnounceInterface>& interfaces, const AnnounceInterface& interface) {
  const bool isThere = std::any_of(interfaces.begin(), interfaces.end(),
                                   [&](const AnnounceInterface& entry) { return entry.index == interface.index; });
  if (!isThere) interfaces.push_back(interface);
}

std::vector<std::string> wordsOf(std::string_view list) {
  std::vector<std::string> words;
  while (true) {
    const std::size_t comma = list.find(',');
    words.emplace_back(list.substr(0, comma));
    if (comma == std::string_view::npos) return words;
    list.remove_prefix(comma + 1);
  }
}

}  // namespace

std::string addressText(const in_addr& address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, &address, text.data(), text.size());
  return text.data();
}

std::vector<AnnounceInterface> announceInterfaces() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return {};
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> list(first, &freeifaddrs);
  std::vector<AnnounceInterface> interfaces;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    const bool isIpV4 = entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET;
    if (!isIpV4 || (entry->ifa_flags & IFF_UP) == 0) continue;
    interfaces.push_back({entry->ifa_name, addressText(addressOf(*entry->ifa_addr)), if_nametoindex(entry->ifa_name),
                          (entry->ifa_flags & IFF_MULTICAST) != 0});
  }
  return interfaces;
}

Result<std::vector<AnnounceInterface>> chooseInterfaces(const std::vector<AnnounceInterface>& all,
                                                        const std::string& wanted) {
  std::vector<AnnounceInterface> chosen;
  if (wanted.empty()) {
    for (const AnnounceInterface& interface : all) {
      if (interface.isMulticast) addOnce(chosen, interface);
    }
    if (chosen.empty()) return Failure{ExitCode::kUnreachable, "no interface has an IPv4 address and takes multicast"};
    return chosen;
  }
  for (const std::string& word : wordsOf(wanted)) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const AnnounceInterface& interface) {
      return interface.name == word || interface.address == word;
    });
    if (found == all.end()) return Failure{ExitCode::kUsage, "no such interface with an IPv4 address: " + word};
    addOnce(chosen, *found);
  }
  return chosen;
}

}  // namespace cli
