#include "cli/ServerApi.h"

#include <algorithm>
#include <utility>

#include "cli/ServerView.h"
#include "cli/WireNames.h"
#include "json/lookup.h"
#include "json/reader.h"
#include "json/writer.h"

namespace cli {
namespace {

constexpr int kServerTrouble = 500;                       // statuses from here on say nothing of what was asked for
constexpr std::size_t kLargestAnswer = 64 * 1024 * 1024;  // an inventory of 10,000 servers takes some 10 MB

Failure transportFailure(const httpclient::Response& response, const std::string& url) {
  switch (response.error) {
    case httpclient::ErrorKind::kBadUrl:
      return {ExitCode::kUsage, "not a server's URL: " + url};
    case httpclient::ErrorKind::kTooLarge:
    case httpclient::ErrorKind::kMalformed:
      return {ExitCode::kNonsense, "no answer of such a server from " + url + ": " + response.errorText};
    default:
      return {ExitCode::kUnreachable, "cannot reach " + url + ": " + response.errorText};
  }
}

/// What a status block says, "" without one. Some resources answer with a list of them.
std::string statusText(const json::Object& answer) {
  if (const json::Array* blocks = json::arrayAt(answer, {wire::kStatus})) {
    if (blocks->Empty()) return "";
    const auto* first = (*blocks)[0].getIf<json::Object>();
    return first != nullptr ? json::textAt(*first, {wire::kDesc}) : "";
  }
  return json::textAt(answer, {wire::kStatus, wire::kDesc});
}

Result<json::Object> readAnswer(const httpclient::Response& response) {
  json::Object answer;
  const std::string status = "HTTP status " + std::to_string(response.status);
  try {
    json::Reader::Read(answer, response.body);
  } catch (const json::Exception& e) {
    return Failure{ExitCode::kNonsense, status + " with a body that is no JSON object: " + e.what()};
  }
  if (response.ok()) return answer;
  const std::string text = statusText(answer);
  if (text.empty()) return Failure{ExitCode::kNonsense, status + " without a word why"};
  if (response.status >= kServerTrouble)
    return Failure{ExitCode::kUnreachable, "the server cannot answer now: " + text};
  return Failure{ExitCode::kRefused, text};
}

Result<json::Object> valueOf(const Result<json::Object>& answer) {
  if (!answer) return answer;
  if (const json::Object* value = json::objectAt(*answer, {wire::kValue})) return *value;
  return Failure{ExitCode::kNonsense, "the answer holds no server's record"};
}

json::String text(std::string_view value) {
  return json::String(std::string(value));
}

}  // namespace

ServerApi::ServerApi(Exchange exchange, std::string url, std::chrono::milliseconds timeout)
    : mExchange(std::move(exchange)), mUrl(std::move(url)), mTimeout(timeout) {
  while (!mUrl.empty() && mUrl.back() == '/')
    mUrl.pop_back();
}

Result<std::vector<json::Object>> ServerApi::list() const {
  const Result<json::Object> answer = get("/1.0/servers");
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
  const Result<json::Object> own = valueOf(get("/1.0/servers/" + encodeSegment(id)));
  if (own || own.failure().code != ExitCode::kRefused) return own;
  const Result<json::Object> listed = inventoryRecord(id);
  return listed ? listed : own;
}

Result<json::Object> ServerApi::search(std::string_view address) const {
  const Result<json::Object> answer = act("SEARCH", wire::kAddress, std::string(address));
  if (!answer) {
    const bool nothingFound = answer.failure().code == ExitCode::kRefused && answer.failure().message == "Failure";
    if (nothingFound) return Failure{ExitCode::kRefused, "no server answers at " + std::string(address)};
    return answer;
  }
  return valueOf(get("/1.0/searchedserver/" + encodeSegment(address)));
}

Result<json::Object> ServerApi::add(std::string_view idOrAddress) const {
  const Result<json::Object> searched = valueOf(get("/1.0/searchedserver/" + encodeSegment(idOrAddress)));
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

Result<json::Object> ServerApi::actOn(std::string_view action, std::string_view id) const {
  return act(action, wire::kServer, "/1.0/servers/" + encodeSegment(id));
}

Result<json::Object> ServerApi::act(std::string_view action, std::string_view parameter,
                                    const std::string& value) const {
  json::Object body;
  body[wire::kAction] = text(action);
  body[wire::kParameters][parameter] = text(value);
  httpclient::Request request;
  request.method = "POST";
  request.url = mUrl + "/1.0/servers/self/operations/discovery";
  request.headers = {"Content-Type: application/json"};
  json::Writer::Write(body, request.body);
  return send(std::move(request));
}

Result<json::Object> ServerApi::get(const std::string& path) const {
  httpclient::Request request;
  request.url = mUrl + path;
  return send(std::move(request));
}

Result<json::Object> ServerApi::send(httpclient::Request request) const {
  request.connectTimeout = std::min(request.connectTimeout, mTimeout);
  request.totalTimeout = mTimeout;
  request.maxBodyBytes = kLargestAnswer;
  const httpclient::Response response = mExchange(request);
  if (response.error != httpclient::ErrorKind::kNone) return transportFailure(response, mUrl);
  return readAnswer(response);
}

std::string encodeSegment(std::string_view segment) {
  constexpr std::string_view kUnreserved = "-._~:";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char letter : segment) {
    const auto byte = static_cast<unsigned char>(letter);
    const bool alphanumeric =
        (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
    if (alphanumeric || kUnreserved.find(letter) != std::string_view::npos) {
      encoded += letter;
    } else {
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return encoded;
}

}  // namespace cli
