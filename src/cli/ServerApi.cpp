#include "cli/ServerApi.h"

#include <algorithm>

#include "cli/ServerView.h"
#include "cli/WireNames.h"
#include "json/lookup.h"

namespace cli {
namespace {

Result<json::Object> valueOf(const Result<json::Object>& answer) {
  if (!answer) return answer;
  if (const json::Object* value = json::objectAt(*answer, {wire::kValue})) return *value;
  return Failure{ExitCode::kNonsense, "the answer holds no server's record"};
}

json::String text(std::string_view value) {
  return json::String(std::string(value));
}

}  // namespace

Result<std::vector<json::Object>> ServerApi::list() const {
  const Result<json::Object> answer = mClient.get("/1.0/servers");
  if (!answer) return answer.failure();
  const json::Array* values = json::arrayAt(*answer, {wire::kValues});
  if (values == nullptr) return Failure{ExitCode::kNonsense, "the answer holds no list of servers"};
  std::vector<json::Object> records;
  for (const json::UnknownElement& value : *values) {
    const auto* record = value.getIf<json::Object>();
    if (record == nullptr) return Failure{ExitCode::kNonsense, "the list holds something that is no server's record"};
    records.push_back(*record);
  }
  return records;
}

Result<json::Object> ServerApi::details(std::string_view id) const {
  const Result<json::Object> own = valueOf(mClient.get("/1.0/servers/" + encodeSegment(id)));
  if (own || own.failure().code != ExitCode::kRefused) return own;
  const Result<json::Object> listed = inventoryRecord(id);
  return listed ? listed : own;
}

Result<json::Object> ServerApi::search(std::string_view address) const {
  const Result<json::Object> answer = act("SEARCH", wire::kAddress, std::string(address));
  if (!answer) {
    const bool nothingFound = answer.failure().code == ExitCode::kRefused && answer.failure().message == "Failure";
    if (!nothingFound) return answer;
    const std::string reason = failureAt(address);
    return Failure{ExitCode::kRefused,
                   "no server answers at " + std::string(address) + (reason.empty() ? "" : ": " + reason)};
  }
  return valueOf(mClient.get("/1.0/searchedserver/" + encodeSegment(address)));
}

Result<json::Object> ServerApi::add(std::string_view idOrAddress) const {
  const Result<json::Object> searched = valueOf(mClient.get("/1.0/searchedserver/" + encodeSegment(idOrAddress)));
  if (!searched && searched.failure().code != ExitCode::kRefused) return searched;
  const std::string id = searched ? viewServer(*searched).id : std::string(idOrAddress);
  if (id.empty()) return Failure{ExitCode::kNonsense, "what was found there has no identifier"};
  return actOn("ADD", id);
}

Result<json::Object> ServerApi::remove(std::string_view idOrAddress) const {
  // The server takes its own key of an entry, too, and that is often the address: it can tell apart what shares an
  // identifier.
  const Result<json::Object> answer = actOn("REMOVE", idOrAddress);
  if (answer || answer.failure().code != ExitCode::kRefused) return answer;
  const Failure notFound{ExitCode::kRefused, "the inventory has no such server: " + std::string(idOrAddress)};
  const Result<json::Object> listed = inventoryRecord(idOrAddress);
  if (!listed) return listed.failure().code == ExitCode::kRefused ? notFound : listed;
  return actOn("REMOVE", viewServer(*listed).id);
}

Result<json::Object> ServerApi::inventoryRecord(std::string_view idOrAddress) const {
  const Result<std::vector<json::Object>> records = list();
  if (!records) return records.failure();
  const auto found = std::find_if(records->begin(), records->end(), [&](const json::Object& record) {
    return isCalled(viewServer(record), idOrAddress);
  });
  if (found == records->end()) return Failure{ExitCode::kRefused, "the inventory has no such server"};
  return *found;
}

std::string ServerApi::failureAt(std::string_view address) const {
  const Result<json::Object> answer = mClient.get("/1.0/sightings");
  if (!answer) return "";
  if (address.size() > 2 && address.front() == '[' && address.back() == ']')
    address = address.substr(1, address.size() - 2);
  for (const json::Object& sighting : objectsAt(*answer, wire::kValues).value_or(std::vector<json::Object>())) {
    const bool isMeant = json::textAt(sighting, {wire::kAddress}) == address;
    if (isMeant && json::textAt(sighting, {wire::kState}) == "failed") return json::textAt(sighting, {wire::kReason});
  }
  return "";
}

Result<json::Object> ServerApi::actOn(std::string_view action, std::string_view id) const {
  return act(action, wire::kServer, "/1.0/servers/" + encodeSegment(id));
}

Result<json::Object> ServerApi::act(std::string_view action, std::string_view parameter,
                                    const std::string& value) const {
  json::Object body;
  body[wire::kAction] = text(action);
  body[wire::kParameters][parameter] = text(value);
  return mClient.post("/1.0/servers/self/operations/discovery", body);
}

}  // namespace cli
