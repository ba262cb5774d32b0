#pragma once

#include <string>

namespace host {

/// The log of who came in and who did not. Passwords, tokens and session identifiers have no place in it. What somebody
/// has done who was let in is "info", and written at every level of the log, each time. What was refused is "warning",
/// and because strangers can cause it each kind has a rate of its own (see utils::logging), so that none hides another.
/// Safe for every thread.
class Audit {
 public:
  static void note(const std::string& text);
  static void loginFailed(const std::string& user, const std::string& address);
  static void loginPutOff(const std::string& user, const std::string& address, long seconds);
  static void lockedOut(const std::string& user, const std::string& address);
  static void writeRefused(const std::string& what, const std::string& who, int status);
};

}  // namespace host
