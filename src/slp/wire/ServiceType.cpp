#include "slp/wire/ServiceType.h"

#include <algorithm>

#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

/// "service:wbem" of "service:wbem:https"; nothing of a type without an abstract part.
std::string_view abstractPart(std::string_view type) {
  if (!hasServiceScheme(type)) return {};
  const std::size_t colon = type.find(':', kServiceScheme.size());
  if (colon == std::string_view::npos || colon == kServiceScheme.size()) return {};
  return type.substr(0, colon);
}

/// Letters, digits and what resource names and schemes have beside them (RFC 2609, section 2.1).
bool isTypeCharacter(char character) {
  const char lower = lowered(character);
  return (lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9') ||
         std::string_view("+-._:").find(lower) != std::string_view::npos;
}

}  // namespace

bool hasServiceScheme(std::string_view text) {
  return text.size() >= kServiceScheme.size() &&
         std::equal(kServiceScheme.begin(), kServiceScheme.end(), text.begin(),
                    [](char expected, char character) { return expected == lowered(character); });
}

bool covers(std::string_view asked, std::string_view offered) {
  const std::string_view type = trimmed(offered);
  if (trimmed(asked).empty()) return false;
  if (equalFolded(asked, type)) return true;
  const std::string_view abstractType = abstractPart(type);
  return !abstractType.empty() && equalFolded(asked, abstractType);
}

IndexKeys indexKeys(std::string_view type) {
  return {folded(type), folded(abstractPart(trimmed(type)))};
}

std::string_view namingAuthority(std::string_view type) {
  std::string_view name = trimmed(type);
  if (hasServiceScheme(name)) name.remove_prefix(kServiceScheme.size());
  name = name.substr(0, name.find(':'));
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view{} : name.substr(dot + 1);
}

std::string_view serviceTypeOf(std::string_view url) {
  const std::string_view text = trimmed(url);
  // The address of another family starts with a single slash.
  const std::size_t address = text.find(":/");
  if (hasServiceScheme(text)) return trimmed(text.substr(0, address));
  const std::size_t end = address != std::string_view::npos ? address : text.find(':');
  if (end == std::string_view::npos) return {};
  const std::string_view scheme = text.substr(0, end);
  return std::all_of(scheme.begin(), scheme.end(), isTypeCharacter) ? scheme : std::string_view{};
}

bool isServiceType(std::string_view urlOrType) {
  const std::string_view text = trimmed(urlOrType);
  return !text.empty() && text.find('/') == std::string_view::npos;
}

}  // namespace slp::wire
