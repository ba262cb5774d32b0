#pragma once

#include <exception>
#include <string>

namespace utils {

/// The framework's general failure. `what()` names source file, line and message.
class AppException : public std::exception {
 public:
  explicit AppException(std::string message);
  AppException(std::string file, unsigned int line, std::string message);
  ~AppException() override;

  const char* what() const noexcept override;
  const std::string& message() const noexcept { return mMessage; }

 private:
  std::string mMessage;
  std::string mWhat;
};

/// A failure inside a plug-in, with the HTTP status that reports it.
class PluginException : public AppException {
 public:
  PluginException(std::string file, unsigned int line, std::string message, int status = 500);

  int getErrorStatusCode() const noexcept { return mStatus; }
  /// The message alone.
  const char* getErrorStatusMessage() const noexcept;

 private:
  int mStatus;
};

/// A bad request, with the HTTP status that reports it.
class InputException : public AppException {
 public:
  InputException(std::string file, unsigned int line, std::string message, int status = 400);

  int getErrorStatusCode() const noexcept { return mStatus; }
  /// The message alone.
  const char* getErrorStatusMessage() const noexcept;

 private:
  int mStatus;
};

}  // namespace utils
