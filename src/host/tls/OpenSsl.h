#pragma once

#include <memory>
#include <string>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

namespace host::tls {

/// Frees what OpenSSL gave.
struct Release {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
};

using BioPtr = std::unique_ptr<BIO, Release>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Release>;
using CertificatePtr = std::unique_ptr<X509, Release>;

/// What OpenSSL last complained of in this thread, in words, and empties its queue: a complaint that is left lying is
/// taken for one of the next call.
std::string takeErrors();

}  // namespace host::tls
