#pragma once

#include <optional>
#include <string>
#include <string_view>

struct x509_st;

namespace httpclient {

/// What a server shows of itself before anything is sent to it.
struct ServerCertificate {
  std::string address;      ///< that is connected to, as `Request::acceptAddress` gets it
  std::string fingerprint;  ///< see `fingerprintOf`
};

/// "SHA256:" and 64 hexadecimal digits in lower case: the hash of the whole certificate, because that is what browsers
/// and OpenSSL's command show, so that people can compare. A certificate that is made anew has another one, also when
/// its key is the old one. "" for lack of memory.
std::string fingerprintOf(const x509_st& certificate);

/// A fingerprint as people write it: with colons, in upper case, without "SHA256:". Gives the form of `fingerprintOf`,
/// or nothing for any other text.
std::optional<std::string> readFingerprint(std::string_view text);

/// Whether a text (PEM) holds at least one certificate, as a file of authorities must.
bool holdsCertificates(const std::string& pem);

}  // namespace httpclient
