#include "unit/discovery/FakePeers.h"

#include <algorithm>
#include <utility>

#include "json/lookup.h"
#include "support/Requests.h"

namespace {

std::string addressIn(const json::Object& request) {
  return json::textAt(request, {"properties", "serverIp"});
}

}  // namespace

FakePeers::FakePeers() {
  mPlugin.serveInProcess(
      http::RestApi(http::RestApi::GET, "/1.0/remoteservercall", true),
      [this](const support::Request& request, json::Object& response) { return serve(request.body, response); });
}

void FakePeers::answer(const std::string& address, int status, json::Object body) {
  const std::lock_guard lock(mMutex);
  mAnswers[address] = {static_cast<Status>(status), std::move(body)};
}

int FakePeers::callsTo(const std::string& address) const {
  const std::lock_guard lock(mMutex);
  return static_cast<int>(std::count_if(mRequests.begin(), mRequests.end(),
                                        [&](const json::Object& request) { return addressIn(request) == address; }));
}

int FakePeers::calls() const {
  const std::lock_guard lock(mMutex);
  return static_cast<int>(mRequests.size());
}

std::vector<json::Object> FakePeers::requests() const {
  const std::lock_guard lock(mMutex);
  return mRequests;
}

FakePeers::Status FakePeers::serve(const json::Object& request, json::Object& response) {
  const std::lock_guard lock(mMutex);
  mRequests.push_back(request);
  const auto found = mAnswers.find(addressIn(request));
  if (found != mAnswers.end()) {
    response = found->second.body;
    return found->second.status;
  }
  response = support::parsed(R"({"status":{"code":1,"desc":"no such server"}})");
  return http::HTTPCommand::HTTP_BAD_GATEWAY;
}

FakeLocalServer::FakeLocalServer() {
  mPlugin.get("/1.0/servers/{server_id}", [this](const support::Request& request, json::Object& response) {
    ids.push_back(request.parameter("{server_id}"));
    cookies.push_back(request.cookies());
    response = cookies.back().empty() ? plainBody : refinedBody;
    return cookies.back().empty() ? plainStatus : refinedStatus;
  });
}
