#include "unit/host/RawClient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cctype>
#include <netinet/in.h>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace host_test {
namespace {

constexpr int kPatienceMilliseconds = 20'000;

std::string lowerCased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

RawAnswer parseHeader(const std::string& text) {
  RawAnswer answer;
  std::istringstream lines(text);
  std::string version;
  lines >> version >> answer.status;
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const auto colon = line.find(": ");
    if (colon != std::string::npos) answer.headers[lowerCased(line.substr(0, colon))] = line.substr(colon + 2);
  }
  return answer;
}

bool connectLoopback(int socket, std::uint16_t port, bool ipV6) {
  if (ipV6) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    address.sin6_port = htons(port);
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

std::string RawAnswer::header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? "" : found->second;
}

RawClient::RawClient(std::uint16_t port, bool ipV6) : mSocket(::socket(ipV6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0)) {
  if (mSocket >= 0 && connectLoopback(mSocket, port, ipV6)) return;
  if (mSocket >= 0) ::close(mSocket);
  throw std::runtime_error("cannot connect to port " + std::to_string(port));
}

RawClient::~RawClient() {
  if (mSocket >= 0) ::close(mSocket);
}

RawClient::RawClient(RawClient&& other) noexcept
    : mSocket(std::exchange(other.mSocket, -1)), mReceived(std::move(other.mReceived)) {}

bool RawClient::send(std::string_view text) {
  while (!text.empty()) {
    const auto sent = ::send(mSocket, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool RawClient::fill() {
  pollfd wanted{mSocket, POLLIN, 0};
  if (::poll(&wanted, 1, kPatienceMilliseconds) != 1) return false;
  std::array<char, 65536> chunk;
  const auto received = ::recv(mSocket, chunk.data(), chunk.size(), 0);
  if (received <= 0) return false;
  mReceived.append(chunk.data(), static_cast<std::size_t>(received));
  return true;
}

RawAnswer RawClient::read(bool head) {
  std::size_t end = 0;
  while ((end = mReceived.find("\r\n\r\n")) == std::string::npos) {
    if (!fill()) return {};
  }
  RawAnswer answer = parseHeader(mReceived.substr(0, end + 2));
  mReceived.erase(0, end + 4);
  const std::string length = answer.header("content-length");
  const std::size_t bytes = head || length.empty() ? 0 : std::stoul(length);
  while (mReceived.size() < bytes) {
    if (!fill()) return {};
  }
  answer.body = mReceived.substr(0, bytes);
  mReceived.erase(0, bytes);
  return answer;
}

bool RawClient::isClosed() {
  if (!mReceived.empty()) return false;
  pollfd wanted{mSocket, POLLIN, 0};
  if (::poll(&wanted, 1, kPatienceMilliseconds) != 1) return false;
  char byte = 0;
  return ::recv(mSocket, &byte, 1, 0) <= 0;
}

bool RawClient::hasData(std::chrono::milliseconds moment) {
  pollfd wanted{mSocket, POLLIN, 0};
  return !mReceived.empty() || ::poll(&wanted, 1, static_cast<int>(moment.count())) == 1;
}

std::string getRequest(std::string_view target, std::string_view lines) {
  return "GET " + std::string(target) + " HTTP/1.1\r\nHost: here\r\n" + std::string(lines) + "\r\n";
}

std::string postRequest(std::string_view target, std::string_view body) {
  return "POST " + std::string(target) + " HTTP/1.1\r\nHost: here\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + std::string(body);
}

}  // namespace host_test
