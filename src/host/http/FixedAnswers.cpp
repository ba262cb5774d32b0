#include "host/http/FixedAnswers.h"

#include <string_view>

#include "host/http/DefaultHeaders.h"
#include "host/http/Messages.h"
#include "host/net/Address.h"

namespace host {
namespace {

/// `type` "": the default.
std::string message(const char* status, const std::string& lines, std::string_view type, const std::string& body) {
  std::string text = std::string("HTTP/1.1 ") + status + "\r\n" + lines;
  for (const auto& [name, value] : defaultHeaders(false)) {
    const bool isType = std::string_view(name) == "Content-Type";
    text.append(name).append(": ").append(isType && !type.empty() ? type : value).append("\r\n");
  }
  return text + "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

std::string busyMessage() {
  return message("503 Service Unavailable", "Retry-After: 1\r\n", "",
                 failureAnswer(503, "The server has too many connections, try again").body);
}

std::string httpsMessage(const Endpoint& reachedAt) {
  return message("400 Bad Request", "", "text/plain; charset=utf-8",
                 "This server speaks HTTPS: https://" + bracketed(reachedAt.address) + ":" +
                     std::to_string(reachedAt.port) + "/\n");
}

}  // namespace host
