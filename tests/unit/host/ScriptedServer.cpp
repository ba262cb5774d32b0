#include "unit/host/ScriptedServer.h"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace host_test {
namespace {

constexpr int kPollMilliseconds = 5;

/// A socket bound to a free port of the loopback address.
int bindLoopback(std::uint16_t& port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (socket < 0 || ::bind(socket, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("cannot bind to the loopback address");
  }
  port = ntohs(address.sin_port);
  return socket;
}

bool isReadable(int socket) {
  pollfd wanted{socket, POLLIN, 0};
  return ::poll(&wanted, 1, kPollMilliseconds) == 1;
}

}  // namespace

ScriptedServer::ScriptedServer(Script script) : mScript(std::move(script)), mSocket(bindLoopback(mPort)) {
  ::listen(mSocket, SOMAXCONN);
  mThread = std::thread([this] { serve(); });
}

ScriptedServer::~ScriptedServer() {
  mStopping = true;
  mThread.join();
  ::close(mSocket);
}

std::vector<std::string> ScriptedServer::requests() const {
  const std::lock_guard lock(mMutex);
  return mRequests;
}

std::string ScriptedServer::hang() const {
  while (!mStopping) {
    std::this_thread::sleep_for(std::chrono::milliseconds(kPollMilliseconds));
  }
  return "";
}

void ScriptedServer::serve() {
  while (!mStopping) {
    if (!isReadable(mSocket)) continue;
    const int connection = ::accept(mSocket, nullptr, nullptr);
    if (connection < 0) continue;
    answer(connection);
    ::close(connection);
  }
}

void ScriptedServer::answer(int connection) {
  std::string request;
  std::array<char, 4096> chunk;
  while (request.find("\r\n\r\n") == std::string::npos && !mStopping) {
    if (!isReadable(connection)) continue;
    const auto received = ::recv(connection, chunk.data(), chunk.size(), 0);
    if (received <= 0) return;
    request.append(chunk.data(), static_cast<std::size_t>(received));
  }
  {
    const std::lock_guard lock(mMutex);
    mRequests.push_back(request);
  }
  const std::string text = mScript(request);
  std::string_view rest = text;
  while (!rest.empty()) {
    const auto sent = ::send(connection, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string httpAnswer(int status, const std::string& body, const std::string& lines) {
  return "HTTP/1.1 " + std::to_string(status) + " Text\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
         lines + "\r\n" + body;
}

std::uint16_t deadPort() {
  std::uint16_t port = 0;
  ::close(bindLoopback(port));
  return port;
}

}  // namespace host_test
