// Many servers in one process, for bench/discovery.py:
//   discovery_load COUNT ATTRIBUTES DETAILS
// registers COUNT services of the addresses 10.89.0.0 and up with SLP and answers whatever HTTP asks on port 8443, both
// from texts (files) in which @ADDRESS@ and @NAME@ stand for those of each server. Prints a line when all is
// registered, and ends with its input.

#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>

#include "slp/include/slp.h"
#include "slp/net/Descriptor.h"

namespace {

constexpr std::uint16_t kPort = 8443;
constexpr std::uint32_t kFirstAddress = 0x0A590000;  // 10.89.0.0
constexpr int kAddressesPerByte = 250;

void check(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

std::string readFile(const char* path) {
  std::ifstream file(path);
  check(file.good(), path);
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

std::uint32_t addressOf(int number) {
  return kFirstAddress + static_cast<std::uint32_t>(number / kAddressesPerByte + 1) * 256 +
         static_cast<std::uint32_t>(number % kAddressesPerByte + 1);
}

std::string addressText(std::uint32_t address) {
  const in_addr network{htonl(address)};
  std::array<char, INET_ADDRSTRLEN> text{};
  return ::inet_ntop(AF_INET, &network, text.data(), text.size());
}

void replaceAll(std::string& text, const std::string& mark, const std::string& value) {
  for (auto found = text.find(mark); found != std::string::npos; found = text.find(mark, found + value.size()))
    text.replace(found, mark.size(), value);
}

/// The text as the server of that address gives it.
std::string textOf(std::string text, std::uint32_t address) {
  replaceAll(text, "@ADDRESS@", addressText(address));
  replaceAll(text, "@NAME@", "peer-" + std::to_string(address - kFirstAddress));
  return text;
}

void registerServices(int count, const std::string& attributes) {
  SLPHandle handle = nullptr;
  check(SLPOpen("en", SLP_FALSE, &handle) == SLP_OK, "SLPOpen");
  const auto ignore = [](SLPHandle, SLPError, void*) {};
  for (int number = 0; number < count; ++number) {
    const std::uint32_t address = addressOf(number);
    const std::string url = "service:x-mgmt.quorvel:kvt://" + addressText(address) + ":" + std::to_string(kPort);
    check(SLPReg(handle, url.c_str(), SLP_LIFETIME_MAXIMUM, "service", textOf(attributes, address).c_str(), SLP_TRUE,
                 ignore, nullptr) == SLP_OK,
          "SLPReg");
  }
  SLPClose(handle);
}

/// One request and its answer; the requests of this bench come in one piece.
void answer(int connection, const std::string& details) {
  std::array<char, 4096> request{};
  if (::recv(connection, request.data(), request.size(), 0) <= 0) return;
  sockaddr_in local{};
  socklen_t size = sizeof local;
  check(::getsockname(connection, reinterpret_cast<sockaddr*>(&local), &size) == 0, "getsockname");
  const std::string body = textOf(details, ntohl(local.sin_addr.s_addr));
  const std::string response =
      "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
      std::to_string(body.size()) + "\r\n\r\n" + body;
  ::send(connection, response.data(), response.size(), MSG_NOSIGNAL);
}

void serveHttp(const std::string& details) {
  const slp::net::Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in any{};
  any.sin_family = AF_INET;
  any.sin_port = htons(kPort);
  check(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) == 0, "bind");
  check(::listen(listener.get(), 1024) == 0, "listen");
  for (;;) {
    const slp::net::Descriptor connection(::accept(listener.get(), nullptr, nullptr));
    const timeval patience{1, 0};
    ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (connection.get() >= 0) answer(connection.get(), details);
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    check(count == 4, "discovery_load COUNT ATTRIBUTES DETAILS");
    registerServices(std::stoi(arguments[1]), readFile(arguments[2]));
    std::thread([details = readFile(arguments[3])] {
      try {
        serveHttp(details);
      } catch (const std::exception& problem) {
        std::fprintf(stderr, "discovery_load: %s\n", problem.what());
      }
    }).detach();
    std::puts("ready");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    return 0;
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "discovery_load: %s\n", problem.what());
    return 1;
  }
}
