#include "cli/Output.h"

#include <ostream>

#include "cli/ServerView.h"
#include "cli/Table.h"
#include "cli/Text.h"
#include "json/writer.h"

namespace cli {
namespace {

std::string orDash(const std::string& text) {
  return text.empty() ? "-" : text;
}

template <typename T>
std::string prettyText(const T& value) {
  std::string text;
  json::Writer::Write(value, text, true);
  return neutraliseJson(text) + "\n";
}

/// What both tables show.
std::vector<std::string> cellsOf(const ServerView& server) {
  return {orDash(server.id), orDash(server.addressSummary()), orDash(server.build), orDash(server.health)};
}

std::string interfaceText(const Interface& interface) {
  std::string text;
  for (const std::string* part : {&interface.name, &interface.ipV4, &interface.ipV6, &interface.mac}) {
    if (!text.empty() && !part->empty()) text += "  ";
    text += *part;
  }
  return text;
}

}  // namespace

std::string serverTable(const std::vector<json::Object>& records) {
  Table table({"ID", "ADDRESSES", "BUILD", "HEALTH", "HOW"});
  for (const json::Object& record : records) {
    const ServerView server = viewServer(record);
    std::vector<std::string> cells = cellsOf(server);
    cells.emplace_back(server.origin());
    table.add(std::move(cells));
  }
  return table.text();
}

std::string foundTable(const json::Object& record) {
  Table table({"ID", "ADDRESSES", "BUILD", "HEALTH"});
  table.add(cellsOf(viewServer(record)));
  return table.text();
}

std::string serverSheet(const json::Object& record) {
  const ServerView server = viewServer(record);
  Table table;
  table.add({"ID", orDash(server.id)});
  table.add({"BUILD", orDash(server.build)});
  table.add({"HEALTH", orDash(server.health)});
  table.add({"SYSTEM", orDash(server.system)});
  for (const std::string& endpoint : server.endpoints)
    table.add({"LISTENS", endpoint});
  for (const Interface& interface : server.interfaces)
    table.add({"INTERFACE", interfaceText(interface)});
  return table.text();
}

std::string jsonText(const json::Object& object) {
  return prettyText(object);
}

std::string jsonText(const std::vector<json::Object>& objects) {
  json::Array array;
  for (const json::Object& object : objects)
    array.Insert(object);
  return prettyText(array);
}

std::string jsonLine(const json::Object& object) {
  std::string text;
  json::Writer::Write(object, text);
  return neutraliseJson(text) + "\n";
}

ExitCode conclude(const Result<std::string>& output, std::ostream& out, std::ostream& err) {
  if (!output) return fail(output.failure(), err);
  out << *output;
  return ExitCode::kDone;
}

ExitCode fail(const Failure& failure, std::ostream& err) {
  err << "kvtctl: " << neutralise(failure.message) << "\n";
  return failure.code;
}

}  // namespace cli
