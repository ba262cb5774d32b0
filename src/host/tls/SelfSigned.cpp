#include "host/tls/SelfSigned.h"

#include <array>
#include <set>
#include <stdexcept>
#include <unistd.h>

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include "framework/utils/System.h"
#include "host/net/Address.h"
#include "host/tls/OpenSsl.h"

namespace host::tls {
namespace {

using std::chrono::system_clock;

constexpr std::chrono::hours kBackdated{24};
constexpr std::chrono::hours kLifetime{3650 * 24};
constexpr std::size_t kLongestCommonName = 64;  ///< RFC 5280 appendix A.1, ub-common-name
constexpr std::size_t kSerialBytes = 16;        ///< RFC 5280 section 4.1.2.2 allows 20, and wants them positive
constexpr long kVersion3 = 2;

void require(bool succeeded, const char* what) {
  if (!succeeded) throw std::runtime_error(std::string("cannot make a certificate: ") + what + ": " + takeErrors());
}

void setSerial(X509& certificate) {
  std::array<unsigned char, kSerialBytes> bytes{};
  require(RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1, "no random numbers");
  bytes[0] = static_cast<unsigned char>((bytes[0] & 0x7F) | 0x40);
  BIGNUM* number = BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr);
  const bool isSet = number != nullptr && BN_to_ASN1_INTEGER(number, X509_get_serialNumber(&certificate)) != nullptr;
  BN_free(number);
  require(isSet, "serial number");
}

void setTimes(X509& certificate, system_clock::time_point now) {
  const std::time_t begin = system_clock::to_time_t(now - kBackdated);
  const std::time_t end = system_clock::to_time_t(now + kLifetime);
  require(ASN1_TIME_set(X509_getm_notBefore(&certificate), begin) != nullptr &&
              ASN1_TIME_set(X509_getm_notAfter(&certificate), end) != nullptr,
          "times");
}

void setName(X509& certificate, const std::string& name) {
  X509_NAME* subject = X509_get_subject_name(&certificate);
  const auto* bytes = reinterpret_cast<const unsigned char*>(name.data());
  const int length = static_cast<int>(std::min(name.size(), kLongestCommonName));
  require(X509_NAME_add_entry_by_NID(subject, NID_commonName, MBSTRING_ASC, bytes, length, -1, 0) == 1 &&
              X509_set_issuer_name(&certificate, subject) == 1,
          "name");
}

/// "DNS:server1,IP:192.0.2.1". Names and addresses are checked, so none of them can bring a comma of its own.
std::string alternativeNames(const Subject& subject) {
  std::set<std::string> names;
  for (const std::string& name : subject.hostNames) {
    if (isHostName(name)) names.insert("DNS:" + name);
  }
  for (const std::string& address : subject.addresses) {
    if (isIpAddress(address)) names.insert("IP:" + address.substr(0, address.find('%')));
  }
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ",") + name;
  }
  return text;
}

void addExtension(X509& certificate, int kind, const std::string& value) {
  if (value.empty()) return;
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, &certificate, &certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  const bool added = extension != nullptr && X509_add_ext(&certificate, extension, -1) == 1;
  X509_EXTENSION_free(extension);
  require(added, value.c_str());
}

std::string toPem(EVP_PKEY& key, X509& certificate) {
  const BioPtr text(BIO_new(BIO_s_secmem()));
  require(text && PEM_write_bio_PKCS8PrivateKey(text.get(), &key, nullptr, nullptr, 0, nullptr, nullptr) == 1 &&
              PEM_write_bio_X509(text.get(), &certificate) == 1,
          "PEM");
  char* begin = nullptr;
  const long length = BIO_get_mem_data(text.get(), &begin);
  return std::string(begin, static_cast<std::size_t>(length));
}

}  // namespace

Subject thisMachine() {
  std::array<char, 256> host{};
  if (gethostname(host.data(), host.size() - 1) != 0) host[0] = '\0';
  Subject subject{host.data(), {host.data(), "localhost"}, {"127.0.0.1", "::1"}};
  if (subject.name.empty()) subject.name = "localhost";
  for (const utils::NetworkInterface& interface : utils::System::get_instance()->getNetworkInterfaces()) {
    subject.addresses.insert(subject.addresses.end(), interface.ipV4.begin(), interface.ipV4.end());
    subject.addresses.insert(subject.addresses.end(), interface.ipV6.begin(), interface.ipV6.end());
  }
  return subject;
}

std::string makeSelfSigned(const Subject& subject, system_clock::time_point now) {
  const KeyPtr key(EVP_EC_gen("P-256"));
  const CertificatePtr certificate(X509_new());
  require(key && certificate && X509_set_version(certificate.get(), kVersion3) == 1, "key");
  setSerial(*certificate);
  setTimes(*certificate, now);
  setName(*certificate, subject.name);
  require(X509_set_pubkey(certificate.get(), key.get()) == 1, "public key");
  addExtension(*certificate, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(*certificate, NID_key_usage, "critical,digitalSignature");
  addExtension(*certificate, NID_ext_key_usage, "serverAuth");
  addExtension(*certificate, NID_subject_key_identifier, "hash");
  addExtension(*certificate, NID_subject_alt_name, alternativeNames(subject));
  require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0, "signature");
  return toPem(*key, *certificate);
}

}  // namespace host::tls
