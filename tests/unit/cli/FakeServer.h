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

  void answer(std::string call, int status, std::string body, std::vector<std::string> headers = {}) {
    mScript.push_back({std::move(call), status, std::move(body), std::move(headers)});
  }
  void failWith(httpclient::ErrorKind error, std::string text) {
    mError = error;
    mErrorText = std::move(text);
  }

  ServerApi api(std::string url = kUrl) { return ServerApi(client(std::move(url))); }
  RestClient client(std::string url = kUrl) {
    return {[this](const httpclient::Request& request) { return respond(request); }, std::move(url),
            std::chrono::seconds(3)};
  }

  /// "GET /1.0/servers" or "POST /1.0/... BODY", one for each exchange.
  const std::vector<std::string>& calls() const { return mCalls; }
  const httpclient::Request& lastRequest() const { return mLastRequest; }
  /// Those that were answered.
  const std::vector<httpclient::Request>& requests() const { return mRequests; }

 private:
  struct Step {
    std::string call;
    int status;
    std::string body;
    std::vector<std::string> headers;
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
    mRequests.push_back(request);
    response.status = 404;
    response.body = R"({"status":{"code":404,"desc":"Not found"}})";
    for (const Step& step : mScript) {  // the first that fits
      if (call.rfind(step.call, 0) != 0) continue;
      response.status = step.status;
      response.body = step.body;
      response.headers = step.headers;
      stream(request, response);
      break;
    }
    return response;
  }

  /// Hands the body of an answer of 2xx on where it is asked for.
  static void stream(const httpclient::Request& request, httpclient::Response& response) {
    if (!request.onBody || !response.ok()) return;
    if (!request.onBody(response.body)) response.error = httpclient::ErrorKind::kCancelled;
    response.body.clear();
  }

  std::vector<Step> mScript;
  httpclient::ErrorKind mError = httpclient::ErrorKind::kNone;
  std::string mErrorText;
  std::vector<std::string> mCalls;
  std::vector<httpclient::Request> mRequests;
  httpclient::Request mLastRequest;
};

inline json::Object parsed(const std::string& text) {
  json::Object object;
  json::Reader::Read(object, text);
  return object;
}

}  // namespace cli
