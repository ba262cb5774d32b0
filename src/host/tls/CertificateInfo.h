#pragma once

#include <chrono>
#include <string>

struct x509_st;

namespace host {

/// What people see of the server's certificate.
struct CertificateInfo {
  std::string subject;      ///< "CN=server1"
  std::string issuer;       ///< likewise
  std::string fingerprint;  ///< "SHA256:" and 64 hexadecimal digits
  std::chrono::system_clock::time_point notBefore;
  std::chrono::system_clock::time_point notAfter;
  bool isSelfSigned = false;

  friend bool operator==(const CertificateInfo&, const CertificateInfo&) = default;
};

CertificateInfo describe(const x509_st& certificate);

/// What is wrong with a certificate's time, or soon will be: it has ended, ends within 30 days, or has not begun. ""
/// when all is well.
std::string troubleWithTime(const CertificateInfo& info, std::chrono::system_clock::time_point now);

}  // namespace host
