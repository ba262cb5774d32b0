#include "framework/utils/IpAddress.h"

#include <algorithm>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <string>

namespace utils {
namespace {

bool isAddress(int family, std::string_view text) {
  in6_addr address{};
  if (text.empty() || text.size() >= INET6_ADDRSTRLEN || text.find('\0') != std::string_view::npos) return false;
  return inet_pton(family, std::string(text).c_str(), &address) == 1;
}

/// An interface's name or number, of at most 15 bytes.
bool isZone(std::string_view text) {
  return !text.empty() && text.size() <= 15 && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           std::string_view("-._@+").find(c) != std::string_view::npos;
  });
}

}  // namespace

bool isIPv4Text(std::string_view text) {
  return isAddress(AF_INET, text);
}

bool isIPv6Text(std::string_view text) {
  const auto percent = text.find('%');
  if (percent == std::string_view::npos) return isAddress(AF_INET6, text);
  return isZone(text.substr(percent + 1)) && isAddress(AF_INET6, text.substr(0, percent));
}

}  // namespace utils
