#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <openssl/ssl.h>

namespace host_test {

/// A client that speaks TLS and believes any certificate, or none. No wait is longer than 20 s.
class TlsClient {
 public:
  /// Connects to the loopback address and shakes hands, which may fail. Throws std::runtime_error without a connection.
  explicit TlsClient(std::uint16_t port, int newest = TLS1_3_VERSION, int oldest = TLS1_VERSION,
                     bool isTrusting = true);
  ~TlsClient();
  TlsClient(TlsClient&& other) noexcept;
  TlsClient(const TlsClient&) = delete;
  TlsClient& operator=(const TlsClient&) = delete;

  bool hasHandshake() const { return mHasHandshake; }
  /// "TLSv1.3"
  std::string version() const { return SSL_get_version(mSsl); }
  std::string certificateFingerprint() const;

  bool send(std::string_view text);
  /// What comes until it ends with this, or the end of the connection.
  std::string readUntil(std::string_view end);
  std::string ask(std::string_view text, std::string_view end) {
    send(text);
    return readUntil(end);
  }
  /// True when the server has said with close_notify that it ends.
  bool isClosedInOrder();

 private:
  SSL_CTX* mContext = nullptr;
  SSL* mSsl = nullptr;
  int mSocket = -1;
  bool mHasHandshake = false;
};

}  // namespace host_test
