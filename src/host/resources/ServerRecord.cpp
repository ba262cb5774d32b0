#include "host/resources/ServerRecord.h"

#include <algorithm>

#include "framework/constants/JsonConstants.h"
#include "framework/utils/IpAddress.h"

namespace host {
namespace {

using constants::JsonConstants;

constexpr int kAgentId = 31;
constexpr const char* kAgentName = "KVT Server";
constexpr const char* kHealthy = "ok";
/// The line of builds that peers take a record from.
constexpr std::string_view kBuildLine = "008.";

void put(json::Object& object, const char* name, json::UnknownElement value) {
  object.Insert(json::Object::Member(name, std::move(value)));
}

json::Array makeListen(const std::vector<Endpoint>& endpoints) {
  json::Array listen;
  for (const Endpoint& endpoint : endpoints) {
    json::Object entry;
    put(entry, JsonConstants::ADDRESS, json::String(endpoint.address));
    put(entry, JsonConstants::PORT, json::Number(endpoint.port));
    put(entry, JsonConstants::SCHEME, json::String(endpoint.scheme));
    listen.Insert(entry);
  }
  return listen;
}

json::Array makeAgents(const std::string& build, const std::vector<Endpoint>& endpoints) {
  json::Object agent;
  put(agent, JsonConstants::ID, json::Number(kAgentId));
  put(agent, JsonConstants::NAME, json::String(kAgentName));
  put(agent, JsonConstants::BUILD, json::String(build));
  put(agent, JsonConstants::LISTEN, makeListen(endpoints));
  json::Array agents;
  agents.Insert(agent);
  return agents;
}

std::string textOf(const std::vector<std::string>& addresses, std::size_t index) {
  return index < addresses.size() ? addresses[index] : std::string();
}

json::Array makeNics(const std::vector<utils::NetworkInterface>& interfaces) {
  json::Array nics;
  for (const auto& interface : interfaces) {
    const std::size_t pairs = std::max(interface.ipV4.size(), interface.ipV6.size());
    for (std::size_t i = 0; i < pairs; ++i) {
      json::Object nic;
      put(nic, JsonConstants::NAME, json::String(interface.name));
      put(nic, JsonConstants::MAC, json::String(interface.mac));
      put(nic, JsonConstants::IP_V4, json::String(textOf(interface.ipV4, i)));
      put(nic, JsonConstants::IP_V6, json::String(textOf(interface.ipV6, i)));
      nics.Insert(nic);
    }
  }
  return nics;
}

json::Object makeOs(const ServerFacts& facts) {
  json::Object network;
  put(network, JsonConstants::NICS, makeNics(facts.interfaces));
  json::Object os;
  put(os, JsonConstants::NAME, json::String(facts.os.name));
  put(os, JsonConstants::VERSION, json::String(facts.os.version));
  put(os, JsonConstants::NETWORK, network);
  return os;
}

/// The value of an assignment, without its quotes and escapes.
std::string unquoted(std::string_view value) {
  const bool quoted =
      value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
  if (quoted) value = value.substr(1, value.size() - 2);
  std::string result;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) ++i;
    result += value[i];
  }
  return result;
}

}  // namespace

OsRelease parseOsRelease(std::string_view text) {
  OsRelease release{"Linux", ""};
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    if (line.starts_with("NAME=")) release.name = unquoted(line.substr(5));
    if (line.starts_with("VERSION_ID=")) release.version = unquoted(line.substr(11));
  }
  return release;
}

std::string serverBuild(std::string_view version) {
  const auto afterMinor = version.find('.', version.find('.') + 1);
  return std::string(kBuildLine) + std::string(version.substr(0, afterMinor));
}

json::Object makeServerRecord(const ServerFacts& facts) {
  const std::string build = serverBuild(facts.version);
  json::Object health;
  put(health, JsonConstants::STATE, json::String(kHealthy));
  json::Object properties;
  put(properties, JsonConstants::DISPLAY_ID, json::String(facts.id));
  put(properties, JsonConstants::BUILD, json::String(build));
  put(properties, JsonConstants::AGENTS, makeAgents(build, facts.endpoints));
  put(properties, JsonConstants::OS, makeOs(facts));
  put(properties, JsonConstants::HEALTH, health);
  json::Object record;
  put(record, JsonConstants::PROPERTIES, properties);
  return record;
}

void setLastCommunicatedIp(json::Object& record, const std::string& address) {
  json::Object ip;
  put(ip, utils::isIPv4Text(address) ? JsonConstants::IP_V4 : JsonConstants::IP_V6, json::String(address));
  record[JsonConstants::PROPERTIES][JsonConstants::OS][JsonConstants::NETWORK][JsonConstants::LAST_COMMUNICATED_IP] =
      ip;
}

}  // namespace host
