#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <openssl/evp.h>
#include <openssl/x509.h>

namespace host_test {

/// A certificate and its key, made on the spot.
struct Identity {
  std::shared_ptr<X509> certificate;
  std::shared_ptr<EVP_PKEY> key;

  std::string pem() const;
  /// As httpclient writes it.
  std::string fingerprint() const;
};

/// What is made.
struct Wanted {
  std::string names = "IP:127.0.0.1,IP:::1,DNS:localhost";  ///< that the certificate is for, as OpenSSL writes them
  std::chrono::hours notBefore{-1};                         ///< from now
  std::chrono::hours notAfter{24};                          ///< from now
  bool isAuthority = false;
};

/// Signed by `issuer`, or by itself. Throws std::runtime_error.
Identity makeIdentity(const Wanted& wanted = {}, const Identity* issuer = nullptr);

}  // namespace host_test
