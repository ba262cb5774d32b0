#include "host/tls/CertificateInfo.h"

#include <array>
#include <ctime>

#include <openssl/asn1.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "host/tls/OpenSsl.h"
#include "httpclient/Certificate.h"

namespace host {
namespace {

using std::chrono::system_clock;

constexpr std::chrono::hours kNotice{30 * 24};

std::string nameText(const X509_NAME* name) {
  const tls::BioPtr text(BIO_new(BIO_s_mem()));
  // As RFC 2253 section 2 writes names: what is no printable ASCII is escaped.
  if (!text || X509_NAME_print_ex(text.get(), name, 0, XN_FLAG_RFC2253) < 0) return "";
  char* begin = nullptr;
  const long length = BIO_get_mem_data(text.get(), &begin);
  return length > 0 ? std::string(begin, static_cast<std::size_t>(length)) : "";
}

system_clock::time_point timeOf(const ASN1_TIME* time) {
  std::tm parts{};
  if (ASN1_TIME_to_tm(time, &parts) != 1) return {};
  return system_clock::from_time_t(timegm(&parts));
}

std::string dayText(system_clock::time_point time) {
  const std::time_t seconds = system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts)};
}

}  // namespace

CertificateInfo describe(const x509_st& certificate) {
  CertificateInfo info;
  info.subject = nameText(X509_get_subject_name(&certificate));
  info.issuer = nameText(X509_get_issuer_name(&certificate));
  info.fingerprint = httpclient::fingerprintOf(certificate);
  info.notBefore = timeOf(X509_get0_notBefore(&certificate));
  info.notAfter = timeOf(X509_get0_notAfter(&certificate));
  // The flags are worked out on first use and kept in the certificate.
  info.isSelfSigned = (X509_get_extension_flags(const_cast<x509_st*>(&certificate)) & EXFLAG_SS) != 0;
  return info;
}

std::string troubleWithTime(const CertificateInfo& info, system_clock::time_point now) {
  if (info.notAfter <= now) return "the certificate has ended on " + dayText(info.notAfter);
  if (info.notBefore > now) {
    return "the certificate begins only on " + dayText(info.notBefore) + ": is the clock right?";
  }
  if (info.notAfter - now <= kNotice) return "the certificate ends on " + dayText(info.notAfter);
  return "";
}

}  // namespace host
