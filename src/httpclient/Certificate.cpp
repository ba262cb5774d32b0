#include "httpclient/Certificate.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <memory>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace httpclient {
namespace {

constexpr std::string_view kPrefix = "SHA256:";
constexpr std::string_view kHex = "0123456789abcdef";
constexpr std::size_t kDigits = 64;

char toLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool startsWithPrefix(std::string_view text) {
  return text.size() >= kPrefix.size() &&
         std::equal(kPrefix.begin(), kPrefix.end(), text.begin(),
                    [](char left, char right) { return toLower(left) == toLower(right); });
}

/// Without the colons between every two digits.
std::optional<std::string> joinPairs(std::string_view text) {
  if (text.size() != kDigits / 2 * 3 - 1) return std::nullopt;
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isBetween = i % 3 == 2;
    if (isBetween != (text[i] == ':')) return std::nullopt;
    if (!isBetween) digits += text[i];
  }
  return digits;
}

}  // namespace

std::string fingerprintOf(const x509_st& certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> hash{};
  unsigned int size = 0;
  if (X509_digest(&certificate, EVP_sha256(), hash.data(), &size) != 1) return "";
  std::string text(kPrefix);
  for (unsigned int i = 0; i < size; ++i) {
    text += kHex[hash[i] >> 4];
    text += kHex[hash[i] & 0xF];
  }
  return text;
}

std::optional<std::string> readFingerprint(std::string_view text) {
  if (startsWithPrefix(text)) text.remove_prefix(kPrefix.size());
  std::optional<std::string> digits(text);
  if (text.find(':') != std::string_view::npos) digits = joinPairs(text);
  if (!digits || digits->size() != kDigits) return std::nullopt;
  std::transform(digits->begin(), digits->end(), digits->begin(), toLower);
  if (digits->find_first_not_of(kHex) != std::string::npos) return std::nullopt;
  return std::string(kPrefix) + *digits;
}

bool holdsCertificates(const std::string& pem) {
  if (pem.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
  const std::unique_ptr<BIO, int (*)(BIO*)> text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
  if (!text) return false;
  const std::unique_ptr<X509, void (*)(X509*)> first(PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr),
                                                     X509_free);
  ERR_clear_error();
  return first != nullptr;
}

}  // namespace httpclient
