#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// How passwords are judged and kept. All of it is safe for every thread.
namespace state {

constexpr std::size_t kLeastPasswordBytes = 12;
constexpr std::size_t kMostPasswordBytes = 1024;
constexpr std::size_t kMostUserNameBytes = 32;

/// Why a text is no user name, as a sentence for whoever chose it; nothing when it is one.
std::optional<std::string> userNameProblem(const std::string& user);

/// Why a user cannot have a password; nothing when it will do.
std::optional<std::string> passwordProblem(const std::string& user, const std::string& password);

/// Argon2id with a salt of its own, as a text that says its parameters. Takes 64 MiB and some tenths of a second, as
/// does every check. Throws std::runtime_error when there is no memory for it.
std::string hashPassword(const std::string& password);

/// Whether a text is such a hash.
bool isPasswordHash(const std::string& text);

/// Whether the password is the one of the hash. False, too, when there is no memory to find out.
bool isPassword(const std::string& hash, const std::string& password);

/// Takes as long as `isPassword`, for a user that there is not. Always false.
bool isPasswordOfNobody(const std::string& password);

}  // namespace state
