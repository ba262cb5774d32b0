#include "cli/DoctorServer.h"

#include <algorithm>
#include <ctime>

#include "cli/ServerTrust.h"
#include "cli/ServerView.h"
#include "cli/WireNames.h"
#include "json/lookup.h"

namespace cli::doctor {
namespace {

constexpr std::size_t kMostAsked = 8;
constexpr std::chrono::milliseconds kMoment{1500};
constexpr std::size_t kMostBytes = 256 * 1024;

httpclient::Request requestFor(const std::string& path) {
  httpclient::Request request;
  request.url = path;
  return request;
}

/// The objects of a list that not every server has and not everybody may see.
std::vector<json::Object> listAt(const RestClient& client, const std::string& path) {
  const auto answer = client.get(path);
  if (!answer) return {};
  return objectsAt(*answer, wire::kValues).value_or(std::vector<json::Object>());
}

std::string hostOf(const std::string& url) {
  const std::size_t scheme = url.find("://");
  std::string host = scheme == std::string::npos ? url : url.substr(scheme + 3);
  host = host.substr(0, host.find('/'));
  if (!host.empty() && host.front() == '[') return host.substr(1, host.find(']') - 1);
  return host.substr(0, host.rfind(':'));
}

/// The Date of one server, whoever it is: nothing is sent that tells anything, and nothing else is believed.
std::optional<Ahead> askForTime(const std::string& endpoint, const Exchange& exchange) {
  httpclient::Request request;
  request.url = endpoint + "/1.0/servers/self";
  request.connectTimeout = request.totalTimeout = kMoment;
  request.maxBodyBytes = kMostBytes;
  request.acceptCertificate = [](const httpclient::ServerCertificate&) { return std::optional<std::string>(); };
  const auto response = exchange(request);
  return aheadBy(response, std::chrono::system_clock::now());
}

}  // namespace

ServerFacts serverFacts(const RestClient& client) {
  ServerFacts facts;
  facts.url = client.url();
  const auto there = client.exchange(requestFor("/healthz"));
  const auto now = std::chrono::system_clock::now();
  const auto answer = readAnswer(there, client.url());
  if (!answer && answer.failure().code != ExitCode::kNotAllowed && answer.failure().code != ExitCode::kRefused) {
    facts.unreachable = answer.failure();
    return facts;
  }
  facts.ahead = aheadBy(there, now);
  const auto status = client.get("/1.0/status");
  facts.isLoggedIn = status || status.failure().code != ExitCode::kNotAllowed;
  if (!status) {
    if (facts.isLoggedIn) facts.untold = status.failure();
    return facts;
  }
  if (const json::Object* value = json::objectAt(*status, {wire::kValue})) facts.status = *value;
  facts.sightings = listAt(client, "/1.0/sightings");
  facts.peers = listAt(client, "/1.0/peers");
  return facts;
}

std::map<std::string, Ahead> peersAhead(const std::vector<json::Object>& records, const Exchange& exchange) {
  std::map<std::string, Ahead> ahead;
  std::size_t asked = 0;
  for (const json::Object& record : records) {
    const ServerView server = viewServer(record);
    if (server.isThisServer || server.endpoints.empty() || server.addresses.empty()) continue;
    if (++asked > kMostAsked) break;
    if (const auto told = askForTime(server.endpoints.front(), exchange)) ahead[server.addresses.front()] = *told;
  }
  return ahead;
}

std::optional<Ahead> aheadBy(const httpclient::Response& response, std::chrono::system_clock::time_point now) {
  std::tm parts{};
  const std::string date = headerOf(response, "Date");
  const char* end = strptime(date.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
  if (end == nullptr || *end != '\0') return std::nullopt;
  const auto told = std::chrono::system_clock::from_time_t(timegm(&parts));
  return std::chrono::duration_cast<Ahead>(told - std::chrono::floor<std::chrono::seconds>(now));
}

bool leadsHere(const std::string& url, const std::vector<std::string>& addresses) {
  const std::string host = hostOf(url);
  return host == "localhost" || isLoopback(host) ||
         std::find(addresses.begin(), addresses.end(), host) != addresses.end();
}

}  // namespace cli::doctor
