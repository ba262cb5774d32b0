#include "cli/ServerView.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "cli/WireNames.h"
#include "json/lookup.h"

namespace cli {
namespace {

constexpr std::size_t kMostListed = 64;
constexpr std::size_t kAddressesShown = 3;

std::string textOrNumberAt(const json::Object& object, json::Path path) {
  if (const std::optional<double> number = json::numberAt(object, path)) {
    if (*number >= 0 && *number <= UINT32_MAX) return std::to_string(static_cast<std::uint32_t>(*number));
  }
  return json::textAt(object, path);
}

/// The elements that are objects, as many as are taken in.
std::vector<json::Object> objectsOf(const json::Array* array) {
  std::vector<json::Object> objects;
  if (array == nullptr) return objects;
  for (const json::UnknownElement& element : *array) {
    if (objects.size() == kMostListed) break;
    if (const auto* object = element.getIf<json::Object>()) objects.push_back(*object);
  }
  return objects;
}

void addOnce(std::vector<std::string>& texts, std::string text) {
  if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(std::move(text));
}

std::vector<Interface> interfacesOf(const json::Object& properties) {
  const json::Array* nics = json::arrayAt(properties, {wire::kOs, wire::kNetwork, wire::kNics});
  if (nics == nullptr) nics = json::arrayAt(properties, {wire::kNics});
  std::vector<Interface> interfaces;
  for (const json::Object& nic : objectsOf(nics)) {
    interfaces.push_back({json::textAt(nic, {wire::kName}), json::textAt(nic, {wire::kMac}),
                          json::textAt(nic, {wire::kIpV4}), json::textAt(nic, {wire::kIpV6})});
  }
  return interfaces;
}

std::string endpointText(const json::Object& endpoint) {
  const std::string address = json::textAt(endpoint, {wire::kAddress});
  if (address.empty()) return "";
  const std::string scheme = json::textAt(endpoint, {wire::kScheme});
  const std::string port = textOrNumberAt(endpoint, {wire::kPort});
  const bool bracketed = address.find(':') != std::string::npos;
  return (scheme.empty() ? "" : scheme + "://") + (bracketed ? "[" + address + "]" : address) +
         (port.empty() ? "" : ":" + port);
}

/// Agents list their endpoints; what peers register has the endpoints themselves in the agents' place.
void readAgents(const json::Object& properties, ServerView& view) {
  for (const json::Object& agent : objectsOf(json::arrayAt(properties, {wire::kAgents}))) {
    addOnce(view.endpoints, endpointText(agent));
    for (const json::Object& endpoint : objectsOf(json::arrayAt(agent, {wire::kListen}))) {
      if (view.endpoints.size() < kMostListed) addOnce(view.endpoints, endpointText(endpoint));
    }
    if (view.build.empty()) view.build = json::textAt(agent, {wire::kBuild});
  }
}

std::vector<std::string> addressesOf(const json::Object& properties, const ServerView& view) {
  std::vector<std::string> addresses;
  for (std::string_view family : {wire::kIpV4, wire::kIpV6}) {
    addOnce(addresses, json::textAt(properties, {wire::kOs, wire::kNetwork, wire::kLastCommunicatedIp, family}));
  }
  for (const Interface& interface : view.interfaces) {
    addOnce(addresses, interface.ipV4);
    addOnce(addresses, interface.ipV6);
  }
  if (addresses.empty()) {
    for (const json::Object& endpoint : objectsOf(json::arrayAt(properties, {wire::kAgents}))) {
      addOnce(addresses, json::textAt(endpoint, {wire::kAddress}));
    }
  }
  return addresses;
}

std::string systemOf(const json::Object& properties) {
  const std::string name = json::textAt(properties, {wire::kOs, wire::kName});
  const std::string version = textOrNumberAt(properties, {wire::kOs, wire::kVersion});
  return name.empty() || version.empty() ? name + version : name + " " + version;
}

char lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lowered(a) == lowered(b); });
}

}  // namespace

std::string ServerView::addressSummary() const {
  std::string summary;
  for (std::size_t i = 0; i < std::min(addresses.size(), kAddressesShown); ++i) {
    if (i > 0) summary += ", ";
    summary += addresses[i];
  }
  if (addresses.size() > kAddressesShown)
    summary += ", +" + std::to_string(addresses.size() - kAddressesShown) + " more";
  return summary;
}

std::string_view ServerView::origin() const {
  if (isThisServer) return "this server";
  return isManual ? "manual" : "discovered";
}

ServerView viewServer(const json::Object& record) {
  const json::Object* found = json::objectAt(record, {wire::kProperties});
  const json::Object properties = found != nullptr ? *found : json::Object();
  ServerView view;
  view.id = json::textAt(properties, {wire::kDisplayId});
  view.build = json::textAt(properties, {wire::kBuild});
  view.health = textOrNumberAt(properties, {wire::kHealth, wire::kState});
  view.system = systemOf(properties);
  view.interfaces = interfacesOf(properties);
  view.isThisServer = json::flagAt(properties, {wire::kIsPivot});
  view.isManual = json::flagAt(properties, {wire::kIsManual});
  readAgents(properties, view);
  view.addresses = addressesOf(properties, view);
  return view;
}

bool isCalled(const ServerView& server, std::string_view idOrAddress) {
  if (idOrAddress.empty()) return false;
  const auto same = [&](const std::string& address) { return equalIgnoringCase(address, idOrAddress); };
  return same(server.id) || std::any_of(server.addresses.begin(), server.addresses.end(), same);
}

}  // namespace cli
