#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What nobody may guess. All of it is safe for every thread.
namespace state {

/// Must have been called before anything of libsodium is. Throws std::runtime_error when the machine has no source of
/// random bytes.
void prepareSodium();

std::string randomBytes(std::size_t count);

/// 256 random bits as 43 characters of base64url (RFC 4648, section 5, without padding).
std::string makeSecret();

/// What of a secret is kept in its place: its BLAKE2b-256, as 64 hexadecimal digits.
std::string digestOf(std::string_view secret);

/// Whether two texts are the same. How long that takes depends on their lengths alone.
bool isSame(std::string_view left, std::string_view right);

}  // namespace state
