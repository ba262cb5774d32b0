#include "discovery/AttributeList.h"

#include <algorithm>
#include <array>

#include "framework/utils/StringHelper.h"

namespace discovery {
namespace {

/// The namespaces of the provider that VMware hosts carry, in lower case.
constexpr std::array<std::string_view, 4> kVmwareNamespaces = {"root/qmxmr13", "qmx/qmxmr13", "root/qmxmr12",
                                                               "qmx/qmxmr12"};

bool namesVmware(std::string_view token) {
  std::string text(token);
  utils::StringHelper::to_lower(text);
  return std::any_of(kVmwareNamespaces.begin(), kVmwareNamespaces.end(),
                     [&](std::string_view name) { return text.find(name) != std::string::npos; });
}

/// Without what joins it to the other terms.
std::string_view bare(std::string_view token) {
  if (token.starts_with("(")) token.remove_prefix(1);
  if (token.starts_with(",(")) token.remove_prefix(2);
  if (token.ends_with(")")) token.remove_suffix(1);
  return token;
}

/// True, with the key taken off, when the token is of that key.
bool takeKey(std::string_view& token, std::string_view key) {
  if (!token.starts_with(key)) return false;
  token.remove_prefix(key.size());
  return true;
}

void readToken(std::string_view token, std::optional<std::string_view> peerHost, AttributeList& list) {
  if (takeKey(token, "ip=")) {
    list.address = token;
  } else if (takeKey(token, "server=")) {
    list.server = token;
  } else if (token.starts_with("Namespace=")) {
    if (!namesVmware(token)) return;
    list.isVmware = true;
    if (peerHost) list.address = *peerHost;
  } else if (takeKey(token, "template-url-syntax=")) {
    const std::string_view host = peerHost.value_or("");
    if (token.find(host) != std::string_view::npos) list.address = host;
  }
}

}  // namespace

AttributeList parseAttributeList(std::string_view text, std::optional<std::string_view> peerHost) {
  AttributeList list;
  while (!text.empty()) {
    const std::string_view token = text.substr(0, text.find(')'));
    readToken(bare(token), peerHost, list);
    text.remove_prefix(std::min(text.size(), token.size() + 1));
  }
  return list;
}

void appendAttribute(std::string_view key, std::string_view value, std::string& attributes) {
  if (!attributes.empty()) attributes += ')';
  attributes.append("(").append(key).append(value).append(")");
}

}  // namespace discovery
