#include "host/events/EventText.h"

#include "json/writer.h"

namespace host {
namespace {

json::Array texts(const std::vector<std::string>& all) {
  json::Array array;
  for (const std::string& text : all) {
    array.Insert(json::String(text));
  }
  return array;
}

}  // namespace

std::string eventText(std::string_view name, const json::Object& data) {
  std::string text = "event: ";
  text += name;
  text += "\ndata: ";
  json::Writer::Write(data, text);  // in one line: there are no line feeds in it
  return text + "\n\n";
}

std::string serversEvent(const ServerChanges& changes) {
  json::Array changed;
  for (const ServerChanges::Row& row : changes.changed) {
    json::Object entry;
    entry["key"] = json::String(row.key);
    entry["record"] = row.record;
    changed.Insert(entry);
  }
  json::Object data;
  data["changed"] = changed;
  data["removed"] = texts(changes.removed);
  data["count"] = json::Number(static_cast<double>(changes.count));
  return eventText("servers", data);
}

std::string sightingsEvent(const SightingChanges& changes) {
  json::Array changed;
  for (const json::Object& sighting : changes.changed) {
    changed.Insert(sighting);
  }
  json::Object data;
  data["changed"] = changed;
  data["removed"] = texts(changes.removed);
  return eventText("sightings", data);
}

}  // namespace host
