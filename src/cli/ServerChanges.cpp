#include "cli/ServerChanges.h"

#include <array>
#include <set>
#include <utility>

#include "cli/RestClient.h"
#include "cli/ServerView.h"
#include "cli/Text.h"
#include "cli/WireNames.h"
#include "json/lookup.h"

namespace cli {
namespace {

constexpr std::size_t kWidestText = 160;

std::string fit(const std::string& text) {
  return text.empty() ? "-" : shorten(neutralise(text), kWidestText);
}

const char* signOf(ServerChange::Kind kind) {
  switch (kind) {
    case ServerChange::Kind::kListed:
      return " ";
    case ServerChange::Kind::kAdded:
      return "+";
    case ServerChange::Kind::kRemoved:
      return "-";
    case ServerChange::Kind::kChanged:
      break;
  }
  return "~";
}

const char* nameOf(ServerChange::Kind kind) {
  switch (kind) {
    case ServerChange::Kind::kListed:
      return "listed";
    case ServerChange::Kind::kAdded:
      return "added";
    case ServerChange::Kind::kRemoved:
      return "removed";
    case ServerChange::Kind::kChanged:
      break;
  }
  return "changed";
}

/// How the server was seen last, in words; "" when that is not told.
std::string lastSource(const json::Object& sighting) {
  constexpr std::array<std::pair<const char*, const char*>, 4> kWords{
      {{"announcement", "announced"}, {"slp", "found by SLP"}, {"search", "searched for"}, {"hand", "added by hand"}}};
  std::string latest;
  std::string words;
  for (const auto& [source, word] : kWords) {
    // Times of this form sort as texts.
    const std::string time = json::textAt(sighting, {wire::kSources, source, "last"});
    if (time <= latest) continue;
    latest = time;
    words = word;
  }
  return words;
}

std::string difference(const char* what, const std::string& before, const std::string& now) {
  return std::string(what) + " " + (before.empty() ? "-" : before) + " -> " + (now.empty() ? "-" : now);
}

void append(std::string& text, const std::string& more) {
  text += (text.empty() ? "" : ", ") + more;
}

}  // namespace

std::string changeLine(const ServerChange& change) {
  std::string line = std::string(signOf(change.kind)) + " " + fit(change.id);
  if (!change.address.empty() && change.address != change.id) line += " " + fit(change.address);
  return line + " " + fit(change.what) + "\n";
}

json::Object changeRecord(const ServerChange& change, const std::string& time) {
  json::Object record;
  record["time"] = json::String(time);
  record["change"] = json::String(nameOf(change.kind));
  record["id"] = json::String(change.id);
  record["address"] = json::String(change.address);
  record["what"] = json::String(change.what);
  return record;
}

ServerChanges::List ServerChanges::replace(const std::vector<json::Object>& records,
                                           const std::vector<json::Object>& sightings) {
  List changes;
  List unlisted;
  for (const json::Object& sighting : sightings)
    see(sighting, mIsFirst ? unlisted : changes);
  std::set<std::string> present;
  for (const json::Object& record : records)
    present.insert(keyOf(record));
  std::set<std::string> gone;
  for (const auto& [key, row] : mRows) {
    if (!present.contains(key)) gone.insert(key);
  }
  std::set<std::string> done;
  for (const json::Object& record : records) {
    const std::string key = keyOf(record);
    if (key.empty() || !done.insert(key).second) continue;
    Row row = rowOf(record);
    rename(key, row, gone);
    put(key, std::move(row), changes);
  }
  for (const std::string& key : gone)
    drop(key, changes);
  mIsFirst = false;
  return changes;
}

ServerChanges::List ServerChanges::applyServers(const json::Object& delta) {
  List changes;
  std::set<std::string> gone;
  if (const json::Array* removed = json::arrayAt(delta, {wire::kRemoved})) {
    for (const json::UnknownElement& key : *removed) {
      if (const auto* text = key.getIf<json::String>()) gone.insert(*text);
    }
  }
  for (const json::Object& entry : objectsAt(delta, wire::kChanged).value_or(std::vector<json::Object>())) {
    const std::string key = json::textAt(entry, {wire::kKey});
    const json::Object* record = json::objectAt(entry, {wire::kRecord});
    if (key.empty() || record == nullptr) continue;
    Row row = rowOf(*record);
    rename(key, row, gone);
    put(key, std::move(row), changes);
  }
  for (const std::string& key : gone)
    drop(key, changes);
  return changes;
}

ServerChanges::List ServerChanges::applySightings(const json::Object& delta) {
  List changes;
  for (const json::Object& sighting : objectsAt(delta, wire::kChanged).value_or(std::vector<json::Object>()))
    see(sighting, changes);
  if (const json::Array* removed = json::arrayAt(delta, {wire::kRemoved})) {
    for (const json::UnknownElement& address : *removed) {
      if (const auto* text = address.getIf<json::String>()) mSights.erase(text->Value());
    }
  }
  return changes;
}

std::string ServerChanges::keyOf(const json::Object& record) {
  for (const std::string_view family : {wire::kIpV4, wire::kIpV6}) {
    std::string address =
        json::textAt(record, {wire::kProperties, wire::kOs, wire::kNetwork, wire::kLastCommunicatedIp, family});
    if (!address.empty()) return address;
  }
  return json::textAt(record, {wire::kProperties, wire::kDisplayId});
}

ServerChanges::Row ServerChanges::rowOf(const json::Object& record) {
  const ServerView view = viewServer(record);
  return {view.id,
          view.build,
          view.health,
          view.addresses.empty() ? "" : view.addresses.front(),
          view.addressSummary(),
          std::string(view.origin())};
}

std::string ServerChanges::howListed(const Row& row) const {
  const auto sight = mSights.find(row.address);
  const bool isKnown = row.origin == "discovered" && sight != mSights.end() && !sight->second.how.empty();
  return isKnown ? sight->second.how : row.origin;
}

void ServerChanges::rename(const std::string& key, const Row& row, const std::set<std::string>& gone) {
  // A server whose record has no address yet is listed by its identifier; it is the only key that is not an address.
  if (row.id.empty() || mRows.contains(key) || !gone.contains(row.id)) return;
  auto entry = mRows.extract(row.id);
  if (entry.empty()) return;
  entry.key() = key;
  mRows.insert(std::move(entry));
}

void ServerChanges::put(const std::string& key, Row row, List& changes) {
  using Kind = ServerChange::Kind;
  const auto place = mRows.find(key);
  if (place == mRows.end()) {
    changes.push_back({mIsFirst ? Kind::kListed : Kind::kAdded, row.id, row.address, howListed(row)});
    mRows.emplace(key, std::move(row));
    return;
  }
  const Row before = std::exchange(place->second, row);
  std::string what;
  if (before.id != row.id) append(what, difference("identifier", before.id, row.id));
  if (before.build != row.build) append(what, difference("build", before.build, row.build));
  if (before.health != row.health) append(what, difference("health", before.health, row.health));
  if (before.addresses != row.addresses) append(what, difference("addresses", before.addresses, row.addresses));
  if (before.origin != row.origin) append(what, row.origin);
  if (!what.empty()) changes.push_back({Kind::kChanged, row.id, row.address, what});
}

void ServerChanges::drop(const std::string& key, List& changes) {
  const auto place = mRows.find(key);
  if (place == mRows.end()) return;
  const Row row = std::move(place->second);
  mRows.erase(place);
  const auto sight = mSights.find(row.address);
  std::string why = "no longer listed";
  if (sight != mSights.end() && sight->second.state == "left")
    why = sight->second.reason.empty() ? "left" : sight->second.reason;
  changes.push_back({ServerChange::Kind::kRemoved, row.id, row.address, why});
}

void ServerChanges::see(const json::Object& sighting, List& changes) {
  const std::string address = json::textAt(sighting, {wire::kAddress});
  if (address.empty()) return;
  Sight now{json::textAt(sighting, {wire::kDisplayId}), json::textAt(sighting, {wire::kState}),
            json::textAt(sighting, {wire::kReason}), lastSource(sighting)};
  const Sight before = std::exchange(mSights[address], now);
  const bool isSame = before.state == now.state && before.reason == now.reason;
  // That one comes or goes is told by the list itself.
  if (isSame || now.state == "left" || now.state == "seen") return;
  if (now.state == "verified" && before.state != "failed") return;
  const std::string what = now.state + (now.reason.empty() || now.state == "verified" ? "" : ": " + now.reason);
  changes.push_back({ServerChange::Kind::kChanged, now.id.empty() ? address : now.id, address, what});
}

}  // namespace cli
