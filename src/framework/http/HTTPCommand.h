#pragma once

#include <map>
#include <string>

#include "framework/http/Cookie.h"
#include "framework/http/RestApi.h"
#include "json/elements.h"

namespace http {

/// One request with its response. Made by the HTTP front for a client, by the plug-in manager or by another command for
/// a request inside the process; whoever receives one from `createCommand` or `getDummyHTTPCommand` deletes it. A
/// command serves one thread at a time.
class HTTPCommand {
 public:
  enum HTTPStatus_ : int {
    HTTP_NONE = 0,
    HTTP_OK = 200,
    HTTP_NO_CONTENT = 204,
    HTTP_BAD_REQUEST = 400,
    HTTP_UNAUTHORIZED = 401,
    HTTP_FORBIDDEN = 403,
    HTTP_NOT_FOUND = 404,
    HTTP_METHOD_NOT_ALLOWED = 405,
    HTTP_REQUEST_TIMEOUT = 408,
    HTTP_PAYLOAD_TOO_LARGE = 413,
    HTTP_INTERNAL_SERVER_ERROR = 500,
    HTTP_BAD_GATEWAY = 502,
    HTTP_SERVICE_UNAVAILABLE = 503,
    HTTP_GATEWAY_TIMEOUT = 504
  };

  /// Who asked: a client of the HTTP front, or code of this process. Resources that exist for the process alone are not
  /// found by a client.
  enum Origin_ { ORIGIN_PROCESS = 0, ORIGIN_CLIENT = 1 };

  virtual ~HTTPCommand();

  /// The session cookie of the request, or null. Owned by the command.
  virtual const SessionCookie* getSessionCookie() const = 0;

  /// A variable of the request ("REQUEST_URI", "HTTP_COOKIE", "REQUEST_METHOD", "REMOTE_ADDR"), "" when there is none.
  virtual std::string getRequestVariable(std::string name) = 0;
  virtual json::Object& getResponseBody() = 0;
  virtual HTTPStatus_ getHTTPStatus() = 0;
  /// Sets the path that the command is aimed at, and with it "REQUEST_URI".
  virtual void setURI(std::string uri) = 0;
  /// A new command inside the process that executes `api` with the body `request` and answers into `response`, which
  /// must outlive it. Null when `api` is null.
  virtual HTTPCommand* createCommand(const RestApi* api, json::Object request, json::Object& response) = 0;
  /// The same without a body, with a response of its own.
  virtual HTTPCommand* createCommand(const RestApi* api) = 0;
  /// Adds a cookie text ("lastCommunicatedNIC=10.0.0.5") to the request.
  virtual void setCookie(std::string cookie) = 0;

  // What the dispatch needs.
  virtual Origin_ getOrigin() const = 0;
  /// Verb and path of the request until it is matched with a resource; from then on the resource.
  virtual const RestApi& getRestApi() const = 0;
  virtual const json::Object& getRequestBody() const = 0;
  /// The path parameters by name, braces included ("{server_id}"), percent-decoded.
  virtual const std::map<std::string, std::string>& getPathParameters() const = 0;
  virtual void setMatch(const RestApi& api, std::map<std::string, std::string> parameters) = 0;
  virtual void setHTTPStatus(HTTPStatus_ status) = 0;
};

}  // namespace http
