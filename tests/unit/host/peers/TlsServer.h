#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <openssl/ssl.h>

#include "unit/host/peers/TestCertificates.h"

namespace host_test {

/// A server on the loopback address that speaks TLS, answers each connection with whatever a script gives, and closes
/// it. It keeps what it was sent inside of TLS, so that a test sees that nothing was.
class TlsServer {
 public:
  /// Gets the request; gives what is sent. It may block until the server stops.
  using Script = std::function<std::string(const std::string& request)>;

  /// `newest`: TLS1_1_VERSION and the like, 0 for whatever OpenSSL has.
  TlsServer(const Identity& identity, Script script, int newest = 0);
  ~TlsServer();
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  std::uint16_t port() const { return mPort; }
  /// What connections from now on are shown.
  void show(const Identity& identity);
  std::vector<std::string> requests() const;
  /// Connections that were taken, whatever became of them.
  int connections() const { return mConnections; }
  /// A script that waits until the server stops.
  std::string hang() const;

 private:
  using Context = std::shared_ptr<SSL_CTX>;

  void serve();
  void answer(int connection);
  void handshakeAndAnswer(SSL* tls);

  const Script mScript;
  const int mNewest;
  std::uint16_t mPort = 0;
  int mSocket = -1;
  std::atomic<bool> mStopping = false;
  std::atomic<int> mConnections = 0;
  mutable std::mutex mMutex;
  Context mContext;
  std::vector<std::string> mRequests;
  std::thread mThread;
};

}  // namespace host_test
