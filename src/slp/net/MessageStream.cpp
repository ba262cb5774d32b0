#include "slp/net/MessageStream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "slp/net/SocketAddress.h"
#include "slp/net/Traffic.h"
#include "slp/wire/Codec.h"

namespace slp::net {
namespace {

/// Read by one call of `ready`, so that a peer that never stops cannot keep the others waiting.
constexpr std::size_t kReadPerTurn = std::size_t{256} * 1024;
constexpr std::size_t kChunk = std::size_t{16} * 1024;
/// Buffers that have grown beyond this are given back once they are empty: a connection may stay for days.
constexpr std::size_t kKeptCapacity = std::size_t{64} * 1024;

/// Drops the used front of a buffer when that is cheap: when nothing is left, or little against what is dropped.
void dropFront(std::string& buffer, std::size_t& used) {
  if (used == buffer.size()) {
    if (buffer.capacity() > kKeptCapacity)
      std::string().swap(buffer);
    else
      buffer.clear();
    used = 0;
  } else if (used >= kChunk && used >= buffer.size() / 2) {
    buffer.erase(0, used);
    used = 0;
  }
}

void sendWithoutDelay(int fd) {
  const int on = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

bool wouldBlock(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace

MessageStream::MessageStream(Descriptor socket, std::size_t maxMessage)
    : mSocket(std::move(socket)), mMaxMessage(maxMessage) {
  if (mSocket)
    sendWithoutDelay(mSocket.get());
  else
    fail(EBADF);
}

MessageStream MessageStream::connect(const Endpoint& to, std::size_t maxMessage) {
  Descriptor socket(::socket(domainOf(to.address.family), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  int error = socket ? 0 : errno;
  if (error == 0) {
    const SocketAddress address(to);
    if (::connect(socket.get(), address.get(), address.length) != 0) error = errno;
  }
  MessageStream stream(std::move(socket), maxMessage);
  if (error == EINPROGRESS)
    stream.mConnecting = true;
  else if (error != 0)
    stream.fail(error);
  return stream;
}

bool MessageStream::failed() const {
  return mFailed || (mEnded && unsent() == 0 && !wholeMessageWaits());
}

void MessageStream::fail(int error) {
  if (mFailed) return;
  mFailed = true;
  mEnded = true;
  mError = error;
  mConnecting = false;
  mOut.clear();
  mSent = 0;
}

void MessageStream::send(std::string_view message) {
  if (mFailed) return;
  countMessage(Fate::kSent, message);
  // What goes out at once needs no copy.
  if (!mConnecting && mSent == mOut.size()) message.remove_prefix(writeNow(message));
  if (mFailed || message.empty()) return;
  dropFront(mOut, mSent);
  mOut.append(message);
}

void MessageStream::ready() {
  if (mConnecting) finishConnecting();
  if (mConnecting) return;
  if (!mFailed) writeSome();
  if (!mEnded) readSome();
}

std::optional<std::span<const std::byte>> MessageStream::next() {
  const auto rest = wire::bytesOf(mIn).subspan(mTaken);
  const auto length = wire::messageLength(rest);
  if (!length) return std::nullopt;
  if (*length == 0 || *length > mMaxMessage) {
    countMessage(Fate::kDropped, rest);
    fail(EMSGSIZE);
    return std::nullopt;
  }
  if (*length > rest.size()) return std::nullopt;
  mTaken += *length;
  countMessage(Fate::kReceived, rest.first(*length));
  return rest.first(*length);
}

bool MessageStream::wholeMessageWaits() const {
  const auto rest = wire::bytesOf(mIn).subspan(mTaken);
  const auto length = wire::messageLength(rest);
  return length && *length != 0 && *length <= rest.size();
}

void MessageStream::finishConnecting() {
  pollfd entry{mSocket.get(), POLLOUT, 0};
  if (::poll(&entry, 1, 0) <= 0) return;
  int error = 0;
  socklen_t length = sizeof(error);
  if (::getsockopt(mSocket.get(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) error = errno;
  mConnecting = false;
  if (error != 0) fail(error);
}

void MessageStream::readSome() {
  dropFront(mIn, mTaken);
  std::array<char, kChunk> chunk;
  for (std::size_t turn = 0; turn < kReadPerTurn;) {
    // A full buffer holds at least one message, whole or too long: the owner takes it first.
    const std::size_t room = mMaxMessage - std::min(mMaxMessage, mIn.size() - mTaken);
    if (room == 0) return;
    const auto count = ::recv(mSocket.get(), chunk.data(), std::min(room, chunk.size()), 0);
    if (count > 0) {
      mIn.append(chunk.data(), static_cast<std::size_t>(count));
      turn += static_cast<std::size_t>(count);
      if (static_cast<std::size_t>(count) < std::min(room, chunk.size())) return;
    } else if (count == 0) {
      mEnded = true;
      return;
    } else if (errno != EINTR) {
      if (!wouldBlock(errno)) fail(errno);
      return;
    }
  }
}

void MessageStream::writeSome() {
  const std::size_t written = writeNow(std::string_view(mOut).substr(mSent));
  if (mFailed) return;
  mSent += written;
  dropFront(mOut, mSent);
}

std::size_t MessageStream::writeNow(std::string_view bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const auto count = ::send(mSocket.get(), bytes.data() + written, bytes.size() - written, MSG_NOSIGNAL);
    if (count > 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      if (!wouldBlock(errno)) fail(errno);
      break;
    }
  }
  return written;
}

}  // namespace slp::net
