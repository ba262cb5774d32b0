#include "framework/http/RestApi.h"

#include <tuple>
#include <utility>

namespace http {

RestApi::RestApi(RestVerb_ verb, std::string uri, bool flag) : mVerb(verb), mUri(std::move(uri)), mFlag(flag) {}

RestApi::~RestApi() = default;

std::string RestApi::to_string() const {
  return std::string(verbName(mVerb)) + ' ' + mUri;
}

RestApi::operator std::string() const {
  return to_string();
}

bool RestApi::operator<(const RestApi& other) const {
  return std::tie(mVerb, mUri, mFlag) < std::tie(other.mVerb, other.mUri, other.mFlag);
}

bool RestApi::operator==(const RestApi& other) const {
  return std::tie(mVerb, mUri, mFlag) == std::tie(other.mVerb, other.mUri, other.mFlag);
}

const char* verbName(RestApi::RestVerb_ verb) {
  switch (verb) {
    case RestApi::GET:
      return "GET";
    case RestApi::POST:
      return "POST";
    case RestApi::PUT:
      return "PUT";
    case RestApi::DELETE:
      return "DELETE";
  }
  return "?";
}

}  // namespace http
