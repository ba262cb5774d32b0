#include "state/Secrets.h"

#include <array>
#include <sodium.h>
#include <stdexcept>

namespace state {
namespace {

constexpr std::size_t kSecretBytes = 32;
constexpr std::size_t kDigestBytes = 32;

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

void prepareSodium() {
  static const int outcome = sodium_init();
  if (outcome < 0) throw std::runtime_error("the machine has no source of random bytes");
}

std::string randomBytes(std::size_t count) {
  prepareSodium();
  std::string bytes(count, '\0');
  randombytes_buf(bytes.data(), bytes.size());
  return bytes;
}

std::string makeSecret() {
  constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
  const std::string bytes = randomBytes(kSecretBytes);
  std::string text(sodium_base64_encoded_len(kSecretBytes, kVariant), '\0');
  sodium_bin2base64(text.data(), text.size(), bytesOf(bytes), bytes.size(), kVariant);
  text.pop_back();  // the terminator
  return text;
}

std::string digestOf(std::string_view secret) {
  prepareSodium();
  std::array<unsigned char, kDigestBytes> digest{};
  crypto_generichash(digest.data(), digest.size(), bytesOf(secret), secret.size(), nullptr, 0);
  std::string text(2 * kDigestBytes + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), digest.data(), digest.size());
  text.pop_back();  // the terminator
  return text;
}

bool isSame(std::string_view left, std::string_view right) {
  return left.size() == right.size() && sodium_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace state
