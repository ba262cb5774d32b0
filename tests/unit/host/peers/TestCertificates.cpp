#include "unit/host/peers/TestCertificates.h"

#include <stdexcept>

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include "httpclient/Certificate.h"

namespace host_test {
namespace {

void require(bool good, const char* what) {
  if (!good) throw std::runtime_error(std::string("cannot make a certificate: ") + what);
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1, value.c_str());
  X509_EXTENSION_free(extension);
}

void setName(X509* certificate, const char* text) {
  X509_NAME* name = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(text), -1, -1, 0);
}

void setTimes(X509* certificate, const Wanted& wanted) {
  using std::chrono::seconds;
  X509_gmtime_adj(X509_getm_notBefore(certificate), static_cast<long>(seconds(wanted.notBefore).count()));
  X509_gmtime_adj(X509_getm_notAfter(certificate), static_cast<long>(seconds(wanted.notAfter).count()));
}

}  // namespace

std::string Identity::pem() const {
  const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
  require(PEM_write_bio_X509(memory.get(), certificate.get()) == 1, "PEM");
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

std::string Identity::fingerprint() const {
  return httpclient::fingerprintOf(*certificate);
}

Identity makeIdentity(const Wanted& wanted, const Identity* issuer) {
  Identity made;
  made.key.reset(EVP_EC_gen("P-256"), EVP_PKEY_free);
  made.certificate.reset(X509_new(), X509_free);
  X509* certificate = made.certificate.get();
  require(made.key && certificate != nullptr, "key");
  unsigned char serial[8];
  require(RAND_bytes(serial, sizeof serial) == 1, "serial number");
  const std::unique_ptr<BIGNUM, void (*)(BIGNUM*)> number(BN_bin2bn(serial, sizeof serial, nullptr), BN_free);
  BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate));
  X509_set_version(certificate, X509_VERSION_3);
  setName(certificate, wanted.isAuthority ? "authority" : "server");
  setTimes(certificate, wanted);
  X509_set_pubkey(certificate, made.key.get());
  const Identity& signer = issuer != nullptr ? *issuer : made;
  X509_set_issuer_name(certificate, X509_get_subject_name(signer.certificate.get()));
  addExtension(certificate, signer.certificate.get(), NID_basic_constraints,
               wanted.isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  if (!wanted.names.empty()) addExtension(certificate, signer.certificate.get(), NID_subject_alt_name, wanted.names);
  require(X509_sign(certificate, signer.key.get(), EVP_sha256()) > 0, "signature");
  return made;
}

}  // namespace host_test
