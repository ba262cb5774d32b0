#pragma once

#include <string>

namespace http {

/// One REST resource that a plug-in serves or asks for: verb, URI template ("/1.0/servers/{server_id}") and a flag that
/// says that the request is carried on to another server. A value; ordered by verb, then template, then flag, which is
/// the order of the registry.
class RestApi {
 public:
  enum RestVerb_ : int { GET = 1, POST = 2, PUT = 3, DELETE = 4 };

  RestApi(RestVerb_ verb, std::string uri, bool flag);
  RestApi(const RestApi&) = default;
  RestApi& operator=(const RestApi&) = default;
  virtual ~RestApi();

  /// "GET /1.0/servers"
  virtual std::string to_string() const;
  virtual operator std::string() const;

  RestVerb_ verb() const { return mVerb; }
  const std::string& uri() const { return mUri; }
  bool flag() const { return mFlag; }

  bool operator<(const RestApi& other) const;
  bool operator==(const RestApi& other) const;

 private:
  RestVerb_ mVerb;
  std::string mUri;
  bool mFlag;
};

/// "GET", "POST", "PUT", "DELETE", or "?".
const char* verbName(RestApi::RestVerb_ verb);

}  // namespace http
