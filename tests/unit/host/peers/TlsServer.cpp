#include "unit/host/peers/TlsServer.h"

#include <array>
#include <chrono>
#include <csignal>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace host_test {
namespace {

constexpr int kPollMilliseconds = 5;
/// A client that stops in the middle ends its connection, not the test.
constexpr timeval kPatience{10, 0};

bool isReadable(int socket) {
  pollfd wanted{socket, POLLIN, 0};
  return ::poll(&wanted, 1, kPollMilliseconds) == 1;
}

std::shared_ptr<SSL_CTX> makeContext(const Identity& identity, int newest) {
  std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (!context || SSL_CTX_use_certificate(context.get(), identity.certificate.get()) != 1 ||
      SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) != 1) {
    throw std::runtime_error("cannot make a TLS context");
  }
  SSL_CTX_set_min_proto_version(context.get(), newest == 0 ? TLS1_2_VERSION : TLS1_VERSION);
  SSL_CTX_set_max_proto_version(context.get(), newest);
  if (newest != 0) SSL_CTX_set_cipher_list(context.get(), "DEFAULT:@SECLEVEL=0");  // what is old signs with SHA-1
  return context;
}

}  // namespace

TlsServer::TlsServer(const Identity& identity, Script script, int newest)
    : mScript(std::move(script)), mNewest(newest), mContext(makeContext(identity, newest)) {
  std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes to connections that clients have closed
  mSocket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (::bind(mSocket, reinterpret_cast<const sockaddr*>(&address), size) != 0 || ::listen(mSocket, SOMAXCONN) != 0 ||
      ::getsockname(mSocket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("cannot bind to the loopback address");
  }
  mPort = ntohs(address.sin_port);
  mThread = std::thread([this] { serve(); });
}

TlsServer::~TlsServer() {
  mStopping = true;
  mThread.join();
  ::close(mSocket);
}

void TlsServer::show(const Identity& identity) {
  const Context context = makeContext(identity, mNewest);
  const std::lock_guard lock(mMutex);
  mContext = context;
}

std::vector<std::string> TlsServer::requests() const {
  const std::lock_guard lock(mMutex);
  return mRequests;
}

std::string TlsServer::hang() const {
  while (!mStopping) {
    std::this_thread::sleep_for(std::chrono::milliseconds(kPollMilliseconds));
  }
  return "";
}

void TlsServer::serve() {
  while (!mStopping) {
    if (!isReadable(mSocket)) continue;
    const int connection = ::accept(mSocket, nullptr, nullptr);
    if (connection < 0) continue;
    ++mConnections;
    answer(connection);
    ::close(connection);
  }
}

void TlsServer::answer(int connection) {
  ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
  ::setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
  Context context;
  {
    const std::lock_guard lock(mMutex);
    context = mContext;
  }
  const std::unique_ptr<SSL, void (*)(SSL*)> tls(SSL_new(context.get()), SSL_free);
  SSL_set_fd(tls.get(), connection);
  handshakeAndAnswer(tls.get());
}

void TlsServer::handshakeAndAnswer(SSL* tls) {
  if (SSL_accept(tls) != 1) return;
  std::string request;
  std::array<char, 4096> chunk;
  while (request.find("\r\n\r\n") == std::string::npos) {
    const int received = SSL_read(tls, chunk.data(), static_cast<int>(chunk.size()));
    if (received <= 0) break;
    request.append(chunk.data(), static_cast<std::size_t>(received));
  }
  if (request.empty()) return;
  {
    const std::lock_guard lock(mMutex);
    mRequests.push_back(request);
  }
  const std::string text = mScript(request);
  if (!text.empty() && SSL_write(tls, text.data(), static_cast<int>(text.size())) > 0) SSL_shutdown(tls);
}

}  // namespace host_test
