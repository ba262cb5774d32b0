#include "state/Pins.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "json/elements.h"
#include "json/lookup.h"
#include "json/reader.h"
#include "json/writer.h"

namespace state {
namespace {

constexpr const char* kPins = "pins";
constexpr const char* kHost = "host";
constexpr const char* kPort = "port";
constexpr const char* kFingerprint = "fingerprint";
constexpr const char* kSince = "since";
constexpr const char* kLastSeen = "lastSeen";
constexpr const char* kOffered = "offered";

[[noreturn]] void fail(const char* what) {
  throw std::runtime_error(std::string(Pins::kFile) + ": " + what);
}

json::Object write(const PinnedAddress& address, const Pin& pin) {
  json::Object entry;
  entry[kHost] = json::String(address.host);
  entry[kPort] = json::Number(address.port);
  entry[kFingerprint] = json::String(pin.fingerprint);
  entry[kSince] = json::String(pin.since);
  entry[kLastSeen] = json::String(pin.lastSeen);
  if (pin.offered.empty()) return entry;
  json::Object offered;
  offered[kFingerprint] = json::String(pin.offered);
  offered[kSince] = json::String(pin.offeredSince);
  entry[kOffered] = offered;
  return entry;
}

PinnedAddress readAddress(const json::Object& entry) {
  const double port = json::numberAt(entry, {kPort}).value_or(0);
  PinnedAddress address{json::textAt(entry, {kHost}), 0};
  if (address.host.empty() || !(port >= 1 && port <= 65535) || std::floor(port) != port) fail("a pin has no address");
  address.port = static_cast<std::uint16_t>(port);
  return address;
}

Pin readPin(const json::Object& entry) {
  Pin pin{json::textAt(entry, {kFingerprint}), json::textAt(entry, {kSince}), json::textAt(entry, {kLastSeen}),
          json::textAt(entry, {kOffered, kFingerprint}), json::textAt(entry, {kOffered, kSince})};
  if (pin.fingerprint.empty()) fail("a pin has no fingerprint");
  return pin;
}

}  // namespace

Pins Pins::load(const Directory& directory) {
  Pins pins;
  const auto text = directory.read(kFile);
  if (!text) return pins;
  json::Object document;
  json::Reader::Read(document, *text);
  const json::Array* list = json::arrayAt(std::as_const(document), {kPins});
  if (list == nullptr) fail("there is no list of pins in it");
  if (list->Size() > kMax) fail("there are too many pins in it");
  for (const json::UnknownElement& element : *list) {
    const auto* entry = element.getIf<json::Object>();
    if (entry == nullptr) fail("a pin is no object");
    if (!pins.mTable.emplace(readAddress(*entry), readPin(*entry)).second) fail("an address has two pins");
  }
  return pins;
}

void Pins::save(const Directory& directory) const {
  json::Array list;
  for (const auto& [address, pin] : mTable) {
    list.Insert(json::UnknownElement(write(address, pin)));
  }
  json::Object document;
  document[kPins] = list;
  std::string text;
  json::Writer::Write(std::as_const(document), text, true);
  directory.write(kFile, text);
}

Pin* Pins::find(const PinnedAddress& address) {
  const auto found = mTable.find(address);
  return found == mTable.end() ? nullptr : &found->second;
}

std::size_t Pins::countOf(const std::string& host) const {
  std::size_t count = 0;
  for (auto pin = mTable.lower_bound({host, 0}); pin != mTable.end() && pin->first.host == host; ++pin)
    ++count;
  return count;
}

bool Pins::add(const PinnedAddress& address, Pin pin) {
  if (mTable.size() >= kMax || countOf(address.host) >= kMaxOfHost) return false;
  return mTable.emplace(address, std::move(pin)).second;
}

}  // namespace state
