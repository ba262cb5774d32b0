#pragma once

#include <map>
#include <string>

#include <curl/curl.h>

#include "httpclient/HttpClient.h"

struct x509_store_ctx_st;

namespace httpclient {

/// Watches over whom an exchange is with: asks the request's callbacks before it connects, and when the server shows
/// its certificate. Belongs to the thread of its exchange, and must outlive the transfer that it is set on.
class Guard {
 public:
  /// The request must outlive it.
  explicit Guard(const Request& request) : mRequest(request) {}
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  /// Has the transfer ask. False when this libcurl cannot.
  bool watch(CURL* easy);

  /// Why the exchange was refused; kNone when it was not.
  ErrorKind refusal() const;
  const std::string& refusalText() const { return mText; }

 private:
  static curl_socket_t openSocket(void* context, curlsocktype purpose, curl_sockaddr* address);
  static int closeSocket(void* context, curl_socket_t socket);
  static CURLcode prepareTls(CURL* easy, void* tls, void* context);
  static int checkCertificate(x509_store_ctx_st* store, void* context);

  void leaveToCallback(CURL* easy);
  bool takeAuthorities(CURL* easy);
  bool isAllowed(const std::string& address);
  bool isAccepted(x509_store_ctx_st* store);
  bool isSigned(x509_store_ctx_st* store);

  const Request& mRequest;
  /// By their sockets. Addresses of a name are tried side by side; when the certificate comes, only the one that
  /// answered first is left.
  std::map<curl_socket_t, std::string> mConnections;
  bool mHasConnected = false;
  bool mIsAddressRefused = false;
  bool mIsCertificateRefused = false;
  std::string mText;
};

}  // namespace httpclient
