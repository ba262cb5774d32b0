#include "framework/http/Cookie.h"

#include <utility>

namespace http {

Cookie::Cookie(std::string name, std::string value) : mName(std::move(name)), mValue(std::move(value)) {}

Cookie::~Cookie() = default;

CookieType_ Cookie::get_type() const {
  return COOKIE_PLAIN;
}

SessionID::SessionID(std::string text) : mText(std::move(text)) {}

SessionCookie::SessionCookie(std::string sessionId) : Cookie(kName, sessionId), mSessionId(std::move(sessionId)) {}

CookieType_ SessionCookie::get_type() const {
  return COOKIE_SESSION;
}

}  // namespace http
