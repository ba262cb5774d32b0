#pragma once

#include <string>
#include <utility>
#include <vector>

namespace host {

/// What a client asks, as far as anything here depends on it.
struct ClientRequest {
  std::string method;   ///< as received: "GET"
  std::string target;   ///< as received: "/1.0/servers?x=1"
  std::string cookies;  ///< the Cookie headers, joined by "; "
  std::string body;
  std::string remoteAddress;
};

/// What a client is answered: always a JSON document.
struct Answer {
  int status = 200;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;  ///< beside those that every answer has
  bool close = false;                                        ///< the connection ends with it
};

/// An answer whose document is a status block and nothing else.
Answer failureAnswer(int status, const std::string& text);

}  // namespace host
