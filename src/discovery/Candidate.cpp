#include "discovery/Candidate.h"

#include <cmath>
#include <limits>
#include <utility>

#include "discovery/Limits.h"
#include "discovery/LogThrottle.h"
#include "framework/constants/JsonConstants.h"
#include "framework/launcher/KVTCrypto.h"
#include "framework/utils/Log.h"
#include "json/lookup.h"
#include "json/reader.h"

namespace discovery {
namespace {

using Keys = constants::JsonConstants;

/// The strictness under which a candidate with a wrong digest is turned away.
constexpr unsigned int kRejecting = 2;

LogThrottle gTooLong;

std::string digestOfProperties(const json::Object& attributes) {
  json::Object propertiesOnly;
  if (const auto* const properties = json::find(attributes, {Keys::PROPERTIES})) {
    propertiesOnly[Keys::PROPERTIES] = *properties;
  }
  return launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(propertiesOnly);
}

std::optional<json::Object> parse(const std::string& address, const std::string& attributes) {
  try {
    json::Object parsed;
    json::Reader::Read(parsed, std::string_view(attributes));
    return parsed;
  } catch (const json::Exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscovery:addDiscoveredHost:the attributes of %1% are no document:%2%") %
        address % error.what();
    return std::nullopt;
  }
}

}  // namespace

Candidate::Candidate(std::string ip, json::Object attributesOfServer)
    : address(std::move(ip)), attributes(std::move(attributesOfServer)) {
  gid = json::textAt(attributes, {Keys::GID});
  displayId = json::textAt(attributes, {Keys::PROPERTIES, Keys::DISPLAY_ID});
  updatedCounter = toUpdateCounter(json::numberAt(attributes, {Keys::PROPERTIES, Keys::LAST_UPDATED_COUNTER}));
  readNics(attributes);
}

void Candidate::readNics(const json::Object& record) {
  const json::Array* found = nullptr;
  if (json::find(record, {Keys::PROPERTIES, Keys::OS}) != nullptr) {
    isLegacyServer = true;
    found = json::arrayAt(record, {Keys::PROPERTIES, Keys::OS, Keys::NETWORK, Keys::NICS});
  }
  if (found == nullptr) found = json::arrayAt(record, {Keys::PROPERTIES, Keys::NICS});
  if (found != nullptr) nics.push_back(*found);
}

std::optional<Candidate> readCandidate(const std::string& address, const std::string& attributes) {
  if (attributes.size() > kMaxAttributesLength) {
    if (!gTooLong.admits()) return std::nullopt;
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "RemoteServerDiscovery:addDiscoveredHost:the attributes of %1% are too long:%2%") %
        address % attributes.size();
    return std::nullopt;
  }
  std::optional<json::Object> parsed = parse(address, attributes);
  if (!parsed) return std::nullopt;
  return Candidate(address, std::move(*parsed));
}

bool isIdentityAccepted(const Candidate& candidate, unsigned int strictness) {
  if (strictness == 0 || candidate.gid.empty()) return true;
  const std::string hash = digestOfProperties(candidate.attributes);
  utils::formatted_log_t(
      utils::LOG_INVENTORY_DETAIL,
      "RemoteServerDiscovery:addDiscoveredHost: verification for  strServerIp:%1%  \n[%2%] \n [%3%]") %
      candidate.address % candidate.gid % hash;
  if (candidate.gid == hash) {
    utils::formatted_log_t(utils::LOG_INVENTORY_DETAIL,
                           "RemoteServerDiscovery:addDiscoveredHost: success verification for  strServerIp:%1%") %
        candidate.address;
    return true;
  }
  utils::formatted_log_t(utils::LOG_FAILURE,
                         "RemoteServerDiscovery:addDiscoveredHost: Failed to verify strServerIp:%1%") %
      candidate.address;
  return strictness != kRejecting;
}

std::uint32_t toUpdateCounter(std::optional<double> number) {
  constexpr std::uint32_t kMaximum = std::numeric_limits<std::uint32_t>::max();
  if (!number || !std::isfinite(*number) || *number <= 0) return 0;
  return *number >= kMaximum ? kMaximum : static_cast<std::uint32_t>(*number);
}

std::string buildVersion(const json::Object& record) {
  std::string strBuildVersion;
  const json::Array* const agents = json::arrayAt(record, {Keys::PROPERTIES, Keys::AGENTS});
  const json::Object* const first =
      agents != nullptr && !agents->Empty() ? agents->Begin()->getIf<json::Object>() : nullptr;
  if (first != nullptr) strBuildVersion = json::textAt(*first, {Keys::BUILD});
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:addDiscoveredHost:Initial strBuildVersion:%1%") %
      strBuildVersion;
  strBuildVersion = strBuildVersion.substr(0, strBuildVersion.find('.'));
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:addDiscoveredHost:Final strBuildVersion:%1%") %
      strBuildVersion;
  return strBuildVersion;
}

}  // namespace discovery
