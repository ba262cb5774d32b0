#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/security/Role.h"

namespace host {

class AnswerStream;

/// The further headers of a request that anything here depends on, each text as received and "" when it is missing.
struct RequestHeaders {
  std::string acceptEncoding;
  std::string authorization;
  std::string csrfToken;  ///< X-CSRF-Token
  std::string host;
  std::string ifNoneMatch;
  bool isForwarded = false;  ///< has a header of those that proxies add: one may stand between
  std::string origin;
  std::string fetchSite;  ///< Sec-Fetch-Site
};

/// What a client asks, as far as anything here depends on it.
struct ClientRequest {
  std::string method;   ///< as received: "GET"
  std::string target;   ///< as received: "/1.0/servers?x=1"
  std::string cookies;  ///< the Cookie headers, joined by "; "
  std::string body;
  std::string remoteAddress;
  RequestHeaders headers = {};
  bool isSecure = false;  ///< came over TLS
  /// What stands in place of the parameter of a route ("/1.0/tokens/{name}"), percent-decoded.
  std::string pathParameter = {};

  // Whoever lets the request in says for whom.
  std::string user = {};  ///< "" for somebody who has not logged in
  Role role = Role::kNobody;
  /// Whether the login that let it in still holds; asked again while an answer goes on. Safe for every thread. Empty:
  /// it always does.
  std::function<bool()> isStillAllowed = {};
};

/// What a client is answered: a JSON document, unless a header says otherwise.
struct Answer {
  int status = 200;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;  ///< beside those that every answer has
  bool close = false;                                        ///< the connection ends with it
  std::shared_ptr<AnswerStream> stream = {};                 ///< goes on after the header, in place of a body
};

/// An answer whose document is a status block and nothing else.
Answer failureAnswer(int status, const std::string& text);

}  // namespace host
