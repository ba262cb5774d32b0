#pragma once

#include <string>

namespace http {

enum CookieType_ { COOKIE_PLAIN = 0, COOKIE_SESSION = 1 };

/// One cookie of a request: a name and a value.
class Cookie {
 public:
  Cookie(std::string name, std::string value);
  virtual ~Cookie();

  virtual CookieType_ get_type() const;

  const std::string& name() const { return mName; }
  const std::string& value() const { return mValue; }

 private:
  std::string mName;
  std::string mValue;
};

/// The identifier of a login session. A value, ordered byte by byte.
class SessionID {
 public:
  explicit SessionID(std::string text);

  const std::string& text() const { return mText; }
  bool operator<(const SessionID& other) const { return mText < other.mText; }

 private:
  std::string mText;
};

/// The cookie that names the login session of a request.
class SessionCookie : public Cookie {
 public:
  /// The name under which browsers hold it.
  static constexpr const char* kName = "kvtSession";

  explicit SessionCookie(std::string sessionId);

  CookieType_ get_type() const override;
  const SessionID& getSessionId() const { return mSessionId; }

 private:
  SessionID mSessionId;
};

}  // namespace http
