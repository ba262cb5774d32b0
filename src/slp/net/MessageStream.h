#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "slp/net/Address.h"
#include "slp/net/Descriptor.h"

namespace slp::net {

/// A TCP connection that carries whole SLP messages, one after another (RFC 2608, section 6.2). Non-blocking; the owner
/// polls `fd()` for reading, and for writing while `wantsWrite()`. For one thread at a time.
class MessageStream {
 public:
  /// Takes an accepted connection. A message longer than `maxMessage` ends it.
  MessageStream(Descriptor socket, std::size_t maxMessage);
  /// Starts a connection; `failed()` when it cannot even start.
  static MessageStream connect(const Endpoint& to, std::size_t maxMessage);
  MessageStream(MessageStream&&) noexcept = default;
  MessageStream& operator=(MessageStream&&) noexcept = default;

  int fd() const { return mSocket.get(); }
  /// Ended by an error or by a message that cannot be; or by the peer, once its last whole message has been taken and
  /// everything for it has been sent (it may have closed only its own direction).
  bool failed() const;
  int error() const { return mError; }  ///< why it failed: errno; 0 when the peer closed
  bool connecting() const { return mConnecting; }
  /// Polling an ended peer for reading would return at once.
  bool wantsRead() const { return !mEnded && mIn.size() - mTaken < mMaxMessage; }
  bool wantsWrite() const { return mConnecting || mSent < mOut.size(); }
  std::size_t unsent() const { return mOut.size() - mSent; }
  bool peerEnded() const { return mEnded; }                  ///< it sends no more
  bool messageBegun() const { return mTaken < mIn.size(); }  ///< bytes of an incomplete message wait

  /// Queues a message and sends what the kernel takes.
  void send(std::string_view message);
  /// To be called when the descriptor is ready: goes on with connecting, reading and writing.
  void ready();
  /// The next whole message; it lives until the next call of anything here.
  std::optional<std::span<const std::byte>> next();

 private:
  void fail(int error);
  void finishConnecting();
  void readSome();
  void writeSome();
  std::size_t writeNow(std::string_view bytes);
  bool wholeMessageWaits() const;

  Descriptor mSocket;
  std::size_t mMaxMessage;
  std::string mIn;
  std::size_t mTaken = 0;
  std::string mOut;
  std::size_t mSent = 0;
  bool mConnecting = false;
  bool mEnded = false;  ///< the peer sends no more
  bool mFailed = false;
  int mError = 0;
};

/// A listening TCP socket, non-blocking, with SO_REUSEADDR (which for TCP lets no second listener in, but a successor
/// take over at once). errno through `error` when it cannot be opened.
Descriptor listenTcp(Family family, std::uint16_t port, int& error);
/// The next connection that waits; closed descriptor when none does, or when there are no descriptors left (then
/// `error`, when given, is EMFILE or ENFILE, and the listener stays readable: do not poll it for a while).
Descriptor acceptTcp(int listener, Endpoint& from, int* error = nullptr);

}  // namespace slp::net
