#include "host/observe/GroupMembers.h"

#include <arpa/inet.h>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>

namespace host {
namespace {

constexpr const char* kIgmpFile = "/proc/self/net/igmp";

/// An interface's line begins with its number: "2\teth0      :     2      V3". "" for what is none.
std::string interfaceName(const std::string& line) {
  std::istringstream words(line);
  unsigned int index = 0;
  std::string name;
  std::string colon;
  const bool isInterface = static_cast<bool>(words >> index >> name >> colon);
  if (!isInterface) return "";
  if (name.ends_with(':')) name.pop_back();  // a long name leaves no blank
  return name;
}

/// The groups of an interface follow its line, indented, each as the eight digits of the number that its four bytes are
/// on this machine.
bool isGroup(const std::string& line, in_addr_t group) {
  const auto begin = line.find_first_not_of(" \t");
  if (begin == std::string::npos) return false;
  const auto end = line.find_first_of(" \t", begin);
  const std::string digits = line.substr(begin, end == std::string::npos ? end : end - begin);
  std::uint32_t value = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  return digits.size() == 8 && read.ec == std::errc() && read.ptr == digits.data() + digits.size() && value == group;
}

}  // namespace

std::set<std::string> interfacesJoined(std::string_view igmp, std::string_view group) {
  std::set<std::string> joined;
  in_addr wanted{};
  if (inet_pton(AF_INET, std::string(group).c_str(), &wanted) != 1) return joined;
  std::istringstream lines{std::string(igmp)};
  std::string current;
  for (std::string line; std::getline(lines, line);) {
    const bool isIndented = !line.empty() && (line.front() == '\t' || line.front() == ' ');
    if (!isIndented) {
      current = interfaceName(line);
    } else if (!current.empty() && isGroup(line, wanted.s_addr)) {
      joined.insert(current);
    }
  }
  return joined;
}

std::set<std::string> interfacesJoined(std::string_view group) {
  std::ifstream file(kIgmpFile);
  return interfacesJoined(std::string(std::istreambuf_iterator<char>(file), {}), group);
}

}  // namespace host
