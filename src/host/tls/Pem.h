#pragma once

#include <string>
#include <vector>

#include "host/Result.h"
#include "host/tls/OpenSsl.h"

namespace host::tls {

/// A certificate, what else stands between it and its authority, and its key.
struct Identity {
  CertificatePtr certificate;
  std::vector<CertificatePtr> chain;
  KeyPtr key;
};

/// Reads both from PEM texts, which may be one and the same, and checks that they belong together. What is wrong is
/// said with `certificateName` or `keyName` in front.
Result<Identity> readIdentity(const std::string& certificatePem, const std::string& certificateName,
                              const std::string& keyPem, const std::string& keyName);

/// A file's text; at most 1 MiB. What is wrong is said with the path in front.
Result<std::string> readPemFile(const std::string& path);

/// Whether everybody on the machine may read a file.
bool isReadableByOthers(const std::string& path);

}  // namespace host::tls
