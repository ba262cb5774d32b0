#include "state/Password.h"

#include <algorithm>
#include <array>
#include <sodium.h>
#include <stdexcept>

#include "state/Secrets.h"

namespace state {
namespace {

constexpr unsigned long long kOperations = crypto_pwhash_OPSLIMIT_INTERACTIVE;
constexpr std::size_t kMemory = crypto_pwhash_MEMLIMIT_INTERACTIVE;
constexpr std::size_t kSaltBytes = 16;
constexpr std::size_t kHashBytes = 32;

bool isUserCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
}

bool isControl(char c) {
  return (c >= '\0' && c < ' ') || c == '\x7F';
}

std::string base64(const std::string& bytes) {
  constexpr int kVariant = sodium_base64_VARIANT_ORIGINAL_NO_PADDING;
  std::string text(sodium_base64_encoded_len(bytes.size(), kVariant), '\0');
  sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                    kVariant);
  text.pop_back();  // the terminator
  return text;
}

/// A hash that no password is known for, with the parameters of all.
std::string hashOfNobody() {
  return "$argon2id$v=19$m=" + std::to_string(kMemory / 1024) + ",t=" + std::to_string(kOperations) + ",p=1$" +
         base64(randomBytes(kSaltBytes)) + "$" + base64(randomBytes(kHashBytes));
}

}  // namespace

std::optional<std::string> userNameProblem(const std::string& user) {
  const bool fits = !user.empty() && user.size() <= kMostUserNameBytes;
  if (fits && std::all_of(user.begin(), user.end(), isUserCharacter)) return std::nullopt;
  return "A user name has 1 to 32 characters: small letters a to z, digits, \".\", \"_\" and \"-\"";
}

std::optional<std::string> passwordProblem(const std::string& user, const std::string& password) {
  if (password.size() < kLeastPasswordBytes) return "A password has at least 12 characters";
  if (password.size() > kMostPasswordBytes) return "A password has at most 1024 bytes";
  if (std::any_of(password.begin(), password.end(), isControl)) return "A password has no control characters";
  if (password == user) return "The password must not be the user name";
  return std::nullopt;
}

std::string hashPassword(const std::string& password) {
  prepareSodium();
  std::array<char, crypto_pwhash_STRBYTES> hash{};
  if (crypto_pwhash_str(hash.data(), password.data(), password.size(), kOperations, kMemory) != 0) {
    throw std::runtime_error("there is not enough memory to hash a password");
  }
  return hash.data();
}

bool isPasswordHash(const std::string& text) {
  prepareSodium();
  return text.size() < crypto_pwhash_STRBYTES && text.starts_with(crypto_pwhash_STRPREFIX) &&
         crypto_pwhash_str_needs_rehash(text.c_str(), kOperations, kMemory) != -1;
}

bool isPassword(const std::string& hash, const std::string& password) {
  return isPasswordHash(hash) && password.size() <= kMostPasswordBytes &&
         crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

bool isPasswordOfNobody(const std::string& password) {
  static const std::string hash = hashOfNobody();
  (void)isPassword(hash, password);
  return false;
}

}  // namespace state
