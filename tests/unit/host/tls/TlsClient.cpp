#include "unit/host/tls/TlsClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

#include <openssl/err.h>

#include "httpclient/Certificate.h"

namespace host_test {
namespace {

int connected(std::uint16_t port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval patience{20, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return socket;
  ::close(socket);
  throw std::runtime_error("cannot connect to port " + std::to_string(port));
}

}  // namespace

TlsClient::TlsClient(std::uint16_t port, int newest, int oldest, bool isTrusting)
    : mContext(SSL_CTX_new(TLS_client_method())), mSocket(connected(port)) {
  SSL_CTX_set_security_level(mContext, 0);  // or it would not even offer the old versions
  if (!isTrusting) SSL_CTX_set_verify(mContext, SSL_VERIFY_PEER, nullptr);
  SSL_CTX_set_min_proto_version(mContext, oldest);
  SSL_CTX_set_max_proto_version(mContext, newest);
  mSsl = SSL_new(mContext);
  SSL_set_fd(mSsl, mSocket);
  mHasHandshake = SSL_connect(mSsl) == 1;
  ERR_clear_error();
}

TlsClient::~TlsClient() {
  SSL_free(mSsl);
  SSL_CTX_free(mContext);
  if (mSocket >= 0) ::close(mSocket);
}

TlsClient::TlsClient(TlsClient&& other) noexcept
    : mContext(std::exchange(other.mContext, nullptr)),
      mSsl(std::exchange(other.mSsl, nullptr)),
      mSocket(std::exchange(other.mSocket, -1)),
      mHasHandshake(other.mHasHandshake) {}

std::string TlsClient::certificateFingerprint() const {
  X509* certificate = SSL_get1_peer_certificate(mSsl);
  if (certificate == nullptr) return "";
  std::string fingerprint = httpclient::fingerprintOf(*certificate);
  X509_free(certificate);
  return fingerprint;
}

bool TlsClient::send(std::string_view text) {
  const bool sent = SSL_write(mSsl, text.data(), static_cast<int>(text.size())) == static_cast<int>(text.size());
  ERR_clear_error();
  return sent;
}

std::string TlsClient::readUntil(std::string_view end) {
  std::string text;
  char byte = 0;
  while (!text.ends_with(end) && SSL_read(mSsl, &byte, 1) == 1) {
    text += byte;
  }
  ERR_clear_error();
  return text;
}

bool TlsClient::isClosedInOrder() {
  char byte = 0;
  const int result = SSL_read(mSsl, &byte, 1);
  const bool inOrder = result <= 0 && SSL_get_error(mSsl, result) == SSL_ERROR_ZERO_RETURN;
  ERR_clear_error();
  return inOrder;
}

}  // namespace host_test
