#pragma once

namespace http {
class HTTPCommand;
}

namespace launcher {

/// Accounts one call to the session that the command's cookie names, from construction to destruction. The command must
/// outlive it. Without a command, a cookie or a live session nothing is counted.
class SessionUpdate {
 public:
  explicit SessionUpdate(const http::HTTPCommand* command);
  ~SessionUpdate();
  SessionUpdate(const SessionUpdate&) = delete;
  SessionUpdate& operator=(const SessionUpdate&) = delete;

 private:
  void update(bool entering);

  const http::HTTPCommand* mCommand;
};

}  // namespace launcher
