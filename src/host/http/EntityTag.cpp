#include "host/http/EntityTag.h"

#include <array>
#include <stdexcept>

#include <openssl/evp.h>

#include "host/http/HeaderLists.h"

namespace host {
namespace {

constexpr std::size_t kTagBytes = 16;

/// Takes the next tag out of a list, quotes included and without the mark of a weak one; "" when what is left is no
/// tag. A tag may hold commas.
std::string_view takeTag(std::string_view& list) {
  list.remove_prefix(std::min(list.find_first_not_of(" \t,"), list.size()));
  if (list.starts_with("W/")) list.remove_prefix(2);
  if (!list.starts_with('"')) return {};
  const auto end = list.find('"', 1);
  if (end == std::string_view::npos) return {};
  const std::string_view tag = list.substr(0, end + 1);
  list.remove_prefix(end + 1);
  return tag;
}

}  // namespace

std::string entityTag(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 failed");
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string tag = "\"";
  for (std::size_t index = 0; index < kTagBytes; ++index) {
    tag += kDigits[digest[index] >> 4U];
    tag += kDigits[digest[index] & 0x0FU];
  }
  return tag + '"';
}

std::string gzipTag(std::string_view tag) {
  return std::string(tag.substr(0, tag.size() - 1)) + "-gzip\"";
}

bool namesTag(std::string_view ifNoneMatch, std::string_view tag) {
  if (trimmed(ifNoneMatch) == "*") return true;
  for (auto named = takeTag(ifNoneMatch); !named.empty(); named = takeTag(ifNoneMatch)) {
    if (named == tag) return true;
  }
  return false;
}

}  // namespace host
