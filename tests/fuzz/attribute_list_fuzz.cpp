#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "discovery/AttributeList.h"
#include "framework/utils/StringHelper.h"
#include "support/AttributeLists.h"

// Reads an attribute list: of a service, whose host stands before the first line feed, or without one of an
// announcement. It must read as it does by the plainest reading, and what it tells must survive being written.
namespace {

using discovery::AttributeList;
using utils::StringHelper;

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "attribute_list_fuzz: " << what << '\n';
  std::abort();
}

bool isVmwareTerm(std::string term) {
  StringHelper::to_lower(term);
  for (const char* name : {"root/qmxmr13", "qmx/qmxmr13", "root/qmxmr12", "qmx/qmxmr12"}) {
    if (term.find(name) != std::string::npos) return true;
  }
  return false;
}

/// The value when the term has that key.
std::optional<std::string> valueOf(const std::string& term, const std::string& key) {
  if (term.compare(0, key.size(), key) != 0) return std::nullopt;
  return term.substr(key.size());
}

AttributeList readPlainly(const std::string& text, const std::optional<std::string>& host) {
  AttributeList list;
  std::vector<std::string> terms;
  StringHelper::split(terms, text, ")");
  for (std::string term : terms) {
    if (term.compare(0, 1, "(") == 0) term.erase(0, 1);
    if (term.compare(0, 2, ",(") == 0) term.erase(0, 2);
    if (const auto address = valueOf(term, "ip=")) {
      list.address = *address;
    } else if (const auto server = valueOf(term, "server=")) {
      list.server = *server;
    } else if (valueOf(term, "Namespace=")) {
      if (!isVmwareTerm(term)) continue;
      list.isVmware = true;
      if (host) list.address = *host;
    } else if (const auto form = valueOf(term, "template-url-syntax=")) {
      const std::string reference = host.value_or("");
      if (form->find(reference) != std::string::npos) list.address = reference;
    }
  }
  return list;
}

void requireSame(const AttributeList& left, const AttributeList& right, const char* what) {
  require(left.address == right.address && left.server == right.server && left.isVmware == right.isVmware, what);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  std::optional<std::string> host;
  if (const std::size_t end = text.find('\n'); end != std::string::npos) {
    host = text.substr(0, end);
    text.erase(0, end + 1);
  }
  const AttributeList list = discovery::parseAttributeList(text, host);
  requireSame(list, readPlainly(text, host), "the list reads otherwise");
  if (list.address.find(')') != std::string::npos) return 0;  // by the host: no list can carry it
  const std::string written = support::attributeListOf(list.address, list.server);
  AttributeList again = discovery::parseAttributeList(written, host);
  again.isVmware = list.isVmware;
  requireSame(again, list, "what was written reads otherwise");
  return 0;
}
