#include "httpclient/Guard.h"

#include <array>
#include <exception>
#include <netdb.h>
#include <netinet/in.h>
#include <optional>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

namespace httpclient {
namespace {

constexpr std::string_view kIpV4InIpV6 = "::ffff:";

/// With the zone of a link-local address; IPv4 inside of IPv6 as the IPv4 that it is. "" for no address.
std::string toText(const sockaddr& address, socklen_t size) {
  std::array<char, NI_MAXHOST> text{};
  if (getnameinfo(&address, size, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) != 0) return "";
  std::string_view plain = text.data();
  if (plain.starts_with(kIpV4InIpV6) && plain.find('.') != std::string_view::npos) {
    plain.remove_prefix(kIpV4InIpV6.size());
  }
  return std::string(plain);
}

/// The refusal; what a callback throws refuses, too, because it must not pass through C.
template <typename Callback, typename Argument>
std::optional<std::string> ask(const Callback& callback, const Argument& argument) {
  try {
    return callback(argument);
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "it could not be checked";
  }
}

}  // namespace

bool Guard::watch(CURL* easy) {
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, closeSocket);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, this);
  curl_easy_setopt(easy, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  curl_easy_setopt(easy, CURLOPT_SSL_SESSIONID_CACHE, 0L);  // a resumed session shows no certificate
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, prepareTls) != CURLE_OK ||
      curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA, this) != CURLE_OK) {
    return false;
  }
  if (mRequest.acceptCertificate) leaveToCallback(easy);
  return mRequest.acceptCertificate || mRequest.authorities.empty() || takeAuthorities(easy);
}

/// The callback alone decides, so that names and authorities are of no interest.
void Guard::leaveToCallback(CURL* easy) {
  curl_easy_setopt(easy, CURLOPT_CAINFO, nullptr);
  curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
}

bool Guard::takeAuthorities(CURL* easy) {
  std::string pem = mRequest.authorities;
  curl_blob blob{pem.data(), pem.size(), CURL_BLOB_COPY};
  curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);  // the system's are not meant
  return curl_easy_setopt(easy, CURLOPT_CAINFO_BLOB, &blob) == CURLE_OK;
}

ErrorKind Guard::refusal() const {
  if (mIsCertificateRefused) return ErrorKind::kCertificate;
  return mIsAddressRefused && !mHasConnected ? ErrorKind::kForbidden : ErrorKind::kNone;
}

bool Guard::isAllowed(const std::string& address) {
  if (!mRequest.acceptAddress) return true;
  const auto refusal = ask(mRequest.acceptAddress, address);
  if (!refusal) return true;
  mIsAddressRefused = true;
  mText = *refusal;
  return false;
}

curl_socket_t Guard::openSocket(void* context, curlsocktype /*purpose*/, curl_sockaddr* address) {
  auto& guard = *static_cast<Guard*>(context);
  try {
    std::string text = toText(address->addr, address->addrlen);
    if (!guard.isAllowed(text)) return CURL_SOCKET_BAD;
    const int socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (socket < 0) return CURL_SOCKET_BAD;
    guard.mHasConnected = true;
    guard.mConnections[socket] = std::move(text);
    return socket;
  } catch (...) {
    return CURL_SOCKET_BAD;
  }
}

int Guard::closeSocket(void* context, curl_socket_t socket) {
  static_cast<Guard*>(context)->mConnections.erase(socket);
  return close(socket);
}

CURLcode Guard::prepareTls(CURL* /*easy*/, void* tls, void* context) {
  SSL_CTX_set_cert_verify_callback(static_cast<SSL_CTX*>(tls), checkCertificate, context);
  return CURLE_OK;
}

int Guard::checkCertificate(X509_STORE_CTX* store, void* context) {
  bool accepted = false;
  try {
    auto& guard = *static_cast<Guard*>(context);
    accepted = guard.mRequest.acceptCertificate ? guard.isAccepted(store) : guard.isSigned(store);
  } catch (...) {  // refused
  }
  X509_STORE_CTX_set_error(store, accepted ? X509_V_OK : X509_V_ERR_APPLICATION_VERIFICATION);
  return accepted ? 1 : 0;
}

/// As OpenSSL itself would, but with the reason in words: libcurl has none for a signature that is wrong.
bool Guard::isSigned(X509_STORE_CTX* store) {
  mIsCertificateRefused = X509_verify_cert(store) != 1;
  if (!mIsCertificateRefused) return true;
  mText = "the server's certificate is not accepted: ";
  mText += X509_verify_cert_error_string(X509_STORE_CTX_get_error(store));
  return false;
}

bool Guard::isAccepted(X509_STORE_CTX* store) {
  mIsCertificateRefused = true;
  mText = "the server's certificate cannot be read";
  const X509* certificate = X509_STORE_CTX_get0_cert(store);
  if (certificate == nullptr || mConnections.size() != 1) return false;
  const ServerCertificate shown{mConnections.begin()->second, fingerprintOf(*certificate)};
  if (shown.fingerprint.empty()) return false;
  const auto refusal = ask(mRequest.acceptCertificate, shown);
  mIsCertificateRefused = refusal.has_value();
  mText = refusal.value_or("");
  return !refusal;
}

}  // namespace httpclient
