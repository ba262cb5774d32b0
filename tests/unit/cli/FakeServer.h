#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/ServerApi.h"
#include "httpclient/HttpClient.h"
#include "json/reader.h"

namespace cli {

/// Answers from a script and keeps what it was asked. What the script does not foresee is answered 404.
class FakeServer {
 public:
  static constexpr const char* kUrl = "http://server:8443";

  void answer(std::string call, int status, std::string body) {
    mScript.push_back({std::move(call), status, std::move(body)});
  }
  void failWith(httpclient::ErrorKind error, std::string text) {
    mError = error;
    mErrorText = std::move(text);
  }

  ServerApi api(std::string url = kUrl) {
    return ServerApi([this](const httpclient::Request& request) { return respond(request); }, std::move(url),
                     std::chrono::seconds(3));
  }

  /// "GET /1.0/servers" or "POST /1.0/... BODY", one for each exchange.
  const std::vector<std::string>& calls() const { return mCalls; }
  const httpclient::Request& lastRequest() const { return mLastRequest; }

 private:
  struct Step {
    std::string call;
    int status;
    std::string body;
  };

  httpclient::Response respond(const httpclient::Request& request) {
    mLastRequest = request;
    std::string call = request.method + " " + request.url.substr(std::string(kUrl).size());
    if (!request.body.empty()) call += " " + request.body;
    mCalls.push_back(call);

    httpclient::Response response;
    response.error = mError;
    response.errorText = mErrorText;
    if (mError != httpclient::ErrorKind::kNone) return response;
    response.status = 404;
    response.body = R"({"status":{"code":404,"desc":"Not found"}})";
    for (const Step& step : mScript) {
      if (call.rfind(step.call, 0) != 0) continue;
      response.status = step.status;
      response.body = step.body;
      break;
    }
    return response;
  }

  std::vector<Step> mScript;
  httpclient::ErrorKind mError = httpclient::ErrorKind::kNone;
  std::string mErrorText;
  std::vector<std::string> mCalls;
  httpclient::Request mLastRequest;
};

inline json::Object parsed(const std::string& text) {
  json::Object object;
  json::Reader::Read(object, text);
  return object;
}

}  // namespace cli
