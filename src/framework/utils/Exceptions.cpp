#include "framework/utils/Exceptions.h"

#include <utility>

namespace utils {

AppException::AppException(std::string message) : mMessage(std::move(message)), mWhat(mMessage) {}

AppException::AppException(std::string file, unsigned int line, std::string message)
    : mMessage(std::move(message)), mWhat(std::move(file) + ':' + std::to_string(line) + ": " + mMessage) {}

AppException::~AppException() = default;

const char* AppException::what() const noexcept {
  return mWhat.c_str();
}

PluginException::PluginException(std::string file, unsigned int line, std::string message, int status)
    : AppException(std::move(file), line, std::move(message)), mStatus(status) {}

const char* PluginException::getErrorStatusMessage() const noexcept {
  return message().c_str();
}

InputException::InputException(std::string file, unsigned int line, std::string message, int status)
    : AppException(std::move(file), line, std::move(message)), mStatus(status) {}

const char* InputException::getErrorStatusMessage() const noexcept {
  return message().c_str();
}

}  // namespace utils
