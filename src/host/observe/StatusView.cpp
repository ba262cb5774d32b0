#include "host/observe/StatusView.h"

#include "host/IsoTime.h"
#include "host/Version.h"
#include "host/resources/ServerRecord.h"

namespace host {
namespace {

constexpr const char* kListedGauge = "servers_listed";

template <typename Value>
json::Number number(Value value) {
  return json::Number(static_cast<double>(value));
}

json::Object kindsDocument(const Counts::Kinds& kinds) {
  json::Object document;
  for (const auto& [kind, count] : kinds)
    document[kind] = number(count);
  return document;
}

json::Object discoveryDocument(const Observatory::Discovery& discovery) {
  json::Object document;
  document["isRunning"] = json::Boolean(discovery.state.isRunning);
  document["passes"] = number(discovery.state.passes);
  document["lastPass"] = json::Null();
  if (!discovery.last) return document;
  json::Object last;
  last["began"] = json::String(isoTime(discovery.last->began));
  last["durationMs"] = number(discovery.last->report.duration.count());
  last["found"] = number(discovery.last->report.found);
  last["listed"] = number(discovery.last->report.listed);
  document["lastPass"] = std::move(last);
  return document;
}

json::Object serversDocument(const Observatory& observatory) {
  const Sightings::Tally tally = observatory.sightings().tally();
  const Counts::Gauges gauges = observatory.counts().gauges();
  const auto listed = gauges.find(kListedGauge);
  json::Object document;
  document["listed"] = number(listed == gauges.end() ? 0 : listed->second);
  document["verified"] = number(tally.verified);
  document["failed"] = number(tally.failed);
  document["byHand"] = number(tally.byHand);
  return document;
}

json::Object announcementsDocument(const Counts& counts) {
  json::Object document;
  document["received"] = number(total(counts.kinds("announce_records")));
  document["dropped"] = kindsDocument(counts.kinds("announce_records_dropped"));
  return document;
}

/// "sent SrvRqst": 12
json::Object slpDocument(const Counts& counts) {
  json::Object document;
  for (const char* const fate : {"sent", "received", "dropped"}) {
    for (const auto& [kind, count] : counts.kinds(std::string("slp_messages_") + fate))
      document[std::string(fate) + " " + kind] = number(count);
  }
  return document;
}

json::Object queuesDocument(const Observatory& observatory) {
  json::Object document;
  for (const auto& [name, length] : observatory.queues())
    document[name] = number(length);
  for (const auto& [name, value] : observatory.counts().gauges()) {
    if (name != kListedGauge) document[name] = number(value);
  }
  return document;
}

json::Array texts(const std::vector<std::string>& all) {
  json::Array array;
  for (const std::string& text : all)
    array.Insert(json::String(text));
  return array;
}

json::Array interfacesDocument(const std::vector<utils::NetworkInterface>& interfaces,
                               const std::set<std::string>& joined) {
  json::Array array;
  for (const utils::NetworkInterface& interface : interfaces) {
    json::Object document;
    document["name"] = json::String(interface.name);
    document["ipV4"] = texts(interface.ipV4);
    document["ipV6"] = texts(interface.ipV6);
    document["isJoined"] = json::Boolean(joined.contains(interface.name));
    array.Insert(document);
  }
  return array;
}

json::Object peersDocument(const Counts& counts) {
  Counts::Kinds kinds = counts.kinds("peers_fetches");
  json::Object document;
  document["fetches"] = number(total(kinds));
  kinds.erase("ok");
  document["failures"] = kindsDocument(kinds);
  return document;
}

}  // namespace

json::Object statusDocument(const Observatory& observatory, const std::vector<utils::NetworkInterface>& interfaces,
                            const std::set<std::string>& joined) {
  const auto uptime = std::chrono::duration_cast<std::chrono::seconds>(observatory.now() - observatory.started());
  json::Object status;
  status["version"] = json::String(std::string(kVersion));
  status["build"] = json::String(serverBuild(kVersion));
  status["started"] = json::String(isoTime(observatory.started()));
  status["uptimeSeconds"] = number(uptime.count());
  status["discovery"] = discoveryDocument(observatory.discovery());
  status["servers"] = serversDocument(observatory);
  status["announcements"] = announcementsDocument(observatory.counts());
  status["slp"] = slpDocument(observatory.counts());
  status["queues"] = queuesDocument(observatory);
  status["interfaces"] = interfacesDocument(interfaces, joined);
  status["listens"] = json::Array();
  status["certificate"] = json::Null();
  status["peers"] = peersDocument(observatory.counts());
  const json::Object provided = observatory.provided();
  for (const auto& member : provided)
    status[member.name] = member.element;
  return status;
}

}  // namespace host
