#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "framework/http/HTTPCommand.h"

namespace http {

/// The command as this framework makes it: a plain holder of one request and its response.
class Command : public HTTPCommand {
 public:
  /// What a client sent. `target` is the request target as received, `path` what of it is matched with resources.
  struct Request {
    RestApi::RestVerb_ verb = RestApi::GET;
    std::string target;
    std::string path;
    std::string cookies;
    std::string remoteAddress;
    json::Object body;
  };

  /// A command inside the process that is not aimed at anything yet.
  Command();
  /// A client's request.
  explicit Command(Request request);

  const SessionCookie* getSessionCookie() const override;
  std::string getRequestVariable(std::string name) override;
  json::Object& getResponseBody() override;
  HTTPStatus_ getHTTPStatus() override;
  void setURI(std::string uri) override;
  HTTPCommand* createCommand(const RestApi* api, json::Object request, json::Object& response) override;
  HTTPCommand* createCommand(const RestApi* api) override;
  void setCookie(std::string cookie) override;

  Origin_ getOrigin() const override;
  const RestApi& getRestApi() const override;
  const json::Object& getRequestBody() const override;
  const std::map<std::string, std::string>& getPathParameters() const override;
  void setMatch(const RestApi& api, std::map<std::string, std::string> parameters) override;
  void setHTTPStatus(HTTPStatus_ status) override;

 private:
  Command(const RestApi& api, json::Object request, json::Object* response);

  Origin_ mOrigin;
  RestApi mApi;
  std::map<std::string, std::string> mPathParameters;
  std::map<std::string, std::string> mVariables;
  std::optional<SessionCookie> mSessionCookie;
  json::Object mRequestBody;
  json::Object mOwnResponse;
  json::Object* mResponse;
  HTTPStatus_ mStatus = HTTP_NONE;
};

/// Reads the value of one cookie out of a Cookie header's text; nothing when it is not there.
std::optional<std::string> cookieValue(std::string_view header, std::string_view name);

}  // namespace http
