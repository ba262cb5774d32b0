#include "plugins/RegistrationAttributes.h"

#include <string>

#include "framework/constants/JsonConstants.h"
#include "framework/launcher/KVTCrypto.h"
#include "json/lookup.h"
#include "plugins/ServerRecord.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;

std::string withoutBlanks(std::string text) {
  std::erase_if(text, [](char c) { return c == ' ' || c == '\t'; });
  return text;
}

json::UnknownElement withoutBlanks(const json::UnknownElement& element) {
  if (const auto* const text = element.getIf<json::String>()) return json::String(withoutBlanks(text->Value()));
  if (const auto* const object = element.getIf<json::Object>()) return plugins::withoutBlanks(*object);
  const auto* const array = element.getIf<json::Array>();
  if (array == nullptr) return element;
  json::Array elements;
  for (const json::UnknownElement& each : *array)
    elements.Insert(withoutBlanks(each));
  return elements;
}

/// Where the server's first agent listens.
json::Array listenOf(const json::Object& details) {
  const json::Array* const agents = json::arrayAt(details, {Keys::PROPERTIES, Keys::AGENTS});
  if (agents == nullptr || agents->Empty()) return {};
  const auto* const agent = agents->Begin()->getIf<json::Object>();
  const json::Array* const listen = agent == nullptr ? nullptr : json::arrayAt(*agent, {Keys::LISTEN});
  return listen == nullptr ? json::Array() : *listen;
}

}  // namespace

json::Object withoutBlanks(const json::Object& document) {
  json::Object result;
  for (const json::Object::Member& member : document) {
    const std::string name = withoutBlanks(member.name);
    if (result.Find(name) != result.End()) continue;
    result.Insert(json::Object::Member(name, withoutBlanks(member.element)));
  }
  return result;
}

json::Object makeRegistrationAttributes(const json::Object& details, std::uint32_t changeCounter) {
  const json::Array* const nics = nicsOf(details);
  json::Object attributes = details;
  json::UnknownElement& properties = attributes[Keys::PROPERTIES];
  properties[Keys::NICS] = nics == nullptr ? json::Array() : *nics;
  properties[Keys::AGENTS] = listenOf(details);
  properties[Keys::DISPLAY_ID] = json::String(displayIdOf(details));
  properties[Keys::LAST_UPDATED_COUNTER] = json::Number(changeCounter);
  attributes[Keys::GID] = json::String(launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(attributes));
  return attributes;
}

}  // namespace plugins
