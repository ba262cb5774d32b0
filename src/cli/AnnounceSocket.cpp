#include "cli/AnnounceSocket.h"

#include <cerrno>
#include <cstddef>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "heartbeat/GroupAddress.h"

namespace cli {
namespace {

std::string lastError() {
  return std::generic_category().message(errno);
}

bool setOption(int descriptor, int level, int name, int value) {
  return setsockopt(descriptor, level, name, &value, sizeof value) == 0;
}

}  // namespace

Result<std::unique_ptr<AnnounceSocket>> AnnounceSocket::open(const std::vector<AnnounceInterface>& interfaces,
                                                             std::uint16_t port) {
  const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return Failure{ExitCode::kUnreachable, "cannot open a socket: " + lastError()};
  std::unique_ptr<AnnounceSocket> socket(new AnnounceSocket(descriptor));
  if (!socket->bindTo(port)) {
    return Failure{ExitCode::kUnreachable, "cannot listen on port " + std::to_string(port) + ": " + lastError()};
  }
  for (const AnnounceInterface& interface : interfaces)
    socket->join(interface);
  if (!socket->mJoined.empty()) return socket;
  std::string reasons;
  for (const std::string& reason : socket->mRefused)
    reasons += (reasons.empty() ? "" : ", ") + reason;
  return Failure{ExitCode::kUnreachable, "cannot listen on any interface: " + reasons};
}

AnnounceSocket::~AnnounceSocket() {
  ::close(mDescriptor);
}

bool AnnounceSocket::bindTo(std::uint16_t port) const {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  // The group's address and not any: what is sent to the machine alone stays with the server that runs there.
  address.sin_addr = heartbeat::groupAddress().sin_addr;
  return setOption(mDescriptor, SOL_SOCKET, SO_REUSEADDR, 1) &&
         // Otherwise it would hear the interfaces that other programs have joined on, too.
         setOption(mDescriptor, IPPROTO_IP, IP_MULTICAST_ALL, 0) &&
         ::bind(mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

void AnnounceSocket::join(const AnnounceInterface& interface) {
  if (heartbeat::joinGroup(mDescriptor, interface.index)) {
    mJoined.push_back(interface.name);
  } else {
    mRefused.push_back(interface.name + ": " + lastError());
  }
}

std::vector<std::string> AnnounceSocket::follow(const std::vector<AnnounceInterface>& interfaces) const {
  // The kernel knows best where it is a member: it refuses to join twice.
  std::vector<std::string> names;
  for (const AnnounceInterface& interface : interfaces) {
    if (interface.index != 0 && heartbeat::joinGroup(mDescriptor, interface.index)) names.push_back(interface.name);
  }
  return names;
}

std::optional<AnnounceDatagram> AnnounceSocket::receive() {
  sockaddr_in sender{};
  socklen_t senderSize = sizeof sender;
  // With MSG_TRUNC the result is the datagram's size, however much of it the buffer takes.
  const ssize_t size = ::recvfrom(mDescriptor, mBuffer.data(), mBuffer.size(), MSG_TRUNC,
                                  reinterpret_cast<sockaddr*>(&sender), &senderSize);
  if (size < 0) return std::nullopt;
  AnnounceDatagram datagram;
  datagram.time = std::chrono::system_clock::now();
  datagram.source = addressText(sender.sin_addr);
  datagram.size = static_cast<std::size_t>(size);
  if (datagram.size == mBuffer.size()) datagram.record = heartbeat::decodeAnnounceRecord(mBuffer);
  return datagram;
}

}  // namespace cli
