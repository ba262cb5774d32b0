#include "plugins/ServerRecord.h"

#include <algorithm>

#include "framework/constants/JsonConstants.h"
#include "framework/utils/System.h"
#include "json/lookup.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;

bool isIpAddress(const std::string& text) {
  utils::System& system = *utils::System::get_instance();
  return system.isIPv4Address(text) || system.isIPv6Address(text);
}

}  // namespace

std::string displayIdOf(const json::Object& record) {
  return json::textAt(record, {Keys::PROPERTIES, Keys::DISPLAY_ID});
}

const json::Array* nicsOf(const json::Object& record) {
  return json::arrayAt(record, {Keys::PROPERTIES, Keys::OS, Keys::NETWORK, Keys::NICS});
}

std::string firstIpOf(const json::Array* nics) {
  if (nics == nullptr || nics->Empty()) return "";
  const auto* const nic = nics->Begin()->getIf<json::Object>();
  return nic == nullptr ? "" : json::textAt(*nic, {Keys::IP_V4});
}

bool hasNicAddress(const json::Array* nics, const char* family, const std::string& address) {
  if (nics == nullptr || address.empty()) return false;
  return std::any_of(nics->Begin(), nics->End(), [&](const json::UnknownElement& element) {
    const auto* const nic = element.getIf<json::Object>();
    if (nic == nullptr) return false;
    const json::UnknownElement* const value = json::find(*nic, {family});
    const auto* const text = value == nullptr ? nullptr : value->getIf<json::String>();
    return text != nullptr && text->Value() == address;
  });
}

std::string lastCommunicatedIpOf(const json::Object& record) {
  const json::Object* const addresses =
      json::objectAt(record, {Keys::PROPERTIES, Keys::OS, Keys::NETWORK, Keys::LAST_COMMUNICATED_IP});
  if (addresses == nullptr) return "";
  const std::string ipV4 = json::textAt(*addresses, {Keys::IP_V4});
  return ipV4.empty() ? json::textAt(*addresses, {Keys::IP_V6}) : ipV4;
}

void markAsLocal(json::UnknownElement& record, const std::string& ip) {
  utils::System& system = *utils::System::get_instance();
  const bool isIPv6 = !system.isIPv4Address(ip) && system.isIPv6Address(ip);
  json::UnknownElement& properties = record[Keys::PROPERTIES];
  properties[Keys::IS_PIVOT] = json::Boolean(true);
  properties[Keys::OS][Keys::NETWORK][Keys::LAST_COMMUNICATED_IP][isIPv6 ? Keys::IP_V6 : Keys::IP_V4] =
      json::String(ip);
}

std::string listedAddress(const std::string& key, const json::Object& record) {
  if (isIpAddress(key)) return key;
  const std::string address = lastCommunicatedIpOf(record);
  return isIpAddress(address) ? address : key;
}

}  // namespace plugins
