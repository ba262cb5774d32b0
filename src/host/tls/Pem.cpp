#include "host/tls/Pem.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <system_error>
#include <utility>

#include <openssl/err.h>
#include <openssl/pem.h>

namespace host::tls {
namespace {

constexpr std::size_t kLongestFile = 1024 * 1024;
constexpr std::size_t kLongestChain = 16;

BioPtr reader(const std::string& text) {
  return BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

CertificatePtr readCertificate(BIO& from) {
  return CertificatePtr(PEM_read_bio_X509(&from, nullptr, nullptr, nullptr));
}

/// In place of OpenSSL's question at the terminal.
int refusePassphrase(char*, int, int, void* asked) {
  *static_cast<bool*>(asked) = true;
  return -1;
}

Result<KeyPtr> readKey(const std::string& pem, const std::string& name) {
  bool isProtected = false;
  const BioPtr from = reader(pem);
  KeyPtr key(PEM_read_bio_PrivateKey(from.get(), nullptr, refusePassphrase, &isProtected));
  ERR_clear_error();
  if (key) return key;
  if (isProtected) return Failure{name + ": the key is protected by a passphrase; the server needs it without one"};
  return Failure{name + ": there is no private key in it (PEM)"};
}

}  // namespace

Result<Identity> readIdentity(const std::string& certificatePem, const std::string& certificateName,
                              const std::string& keyPem, const std::string& keyName) {
  Identity identity;
  const BioPtr from = reader(certificatePem);
  identity.certificate = readCertificate(*from);
  while (identity.certificate && identity.chain.size() < kLongestChain) {
    auto next = readCertificate(*from);
    if (!next) break;
    identity.chain.push_back(std::move(next));
  }
  ERR_clear_error();
  if (!identity.certificate) return Failure{certificateName + ": there is no certificate in it (PEM)"};
  auto key = readKey(keyPem, keyName);
  if (!key) return Failure{key.error()};
  identity.key = std::move(*key);
  if (X509_check_private_key(identity.certificate.get(), identity.key.get()) == 1) return identity;
  ERR_clear_error();
  return Failure{keyName + ": the key does not belong to the certificate in " + certificateName};
}

Result<std::string> readPemFile(const std::string& path) {
  struct stat file {};
  std::ifstream stream(path, std::ios::binary);
  if (!stream || stat(path.c_str(), &file) != 0) {
    return Failure{path + ": cannot be read: " + std::generic_category().message(errno)};
  }
  if (!S_ISREG(file.st_mode)) return Failure{path + ": is no file"};
  if (static_cast<std::size_t>(file.st_size) > kLongestFile) return Failure{path + ": is too large"};
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

bool isReadableByOthers(const std::string& path) {
  struct stat file {};
  return stat(path.c_str(), &file) == 0 && (file.st_mode & S_IROTH) != 0;
}

}  // namespace host::tls
