#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "slp/config/Settings.h"

/// How the values of properties are read (RFC 2614, section 2.1). Every reader answers an empty text, or why not.
namespace slp::config {

/// Without the blanks at both ends.
std::string_view trimmed(std::string_view text);
/// A backslash and two hexadecimal digits stand for a byte; nothing when an escape is cut or no such thing.
std::optional<std::string> unescaped(std::string_view text);
/// The elements between commas, trimmed; empty ones are passed over.
std::vector<std::string_view> elements(std::string_view list);

std::string readNumber(std::string_view text, std::int64_t least, std::int64_t most, std::int64_t& into);
std::string readFlag(std::string_view text, bool& into);
std::string readStrings(std::string_view text, std::vector<std::string>& into);
std::string readTimeouts(std::string_view text, std::vector<Milliseconds>& into);
std::string readScopes(std::string_view text, std::string& into);
std::string readLanguage(std::string_view text, std::string& into);
std::string readMaxResults(std::string_view text, int& into);

// The same as functions of a row of the table: `Member` says which of the settings is meant.

template <auto Member, std::int64_t Least, std::int64_t Most>
std::string number(std::string_view text, Settings& into) {
  std::int64_t value = 0;
  std::string problem = readNumber(text, Least, Most, value);
  using Value = std::remove_reference_t<decltype(into.*Member)>;
  if (problem.empty()) into.*Member = static_cast<Value>(value);
  return problem;
}

template <auto Member, std::int64_t Least, std::int64_t Most>
std::string duration(std::string_view text, Settings& into) {
  std::int64_t value = 0;
  std::string problem = readNumber(text, Least, Most, value);
  using Value = std::remove_reference_t<decltype(into.*Member)>;
  if (problem.empty()) into.*Member = Value(value);
  return problem;
}

template <auto Member, auto Read>
std::string value(std::string_view text, Settings& into) {
  return Read(text, into.*Member);
}

template <auto Member>
std::string text(std::string_view raw, Settings& into) {
  into.*Member = raw;
  return {};
}

/// Any value is kept as text, and means nothing to this library.
inline std::string withoutEffect(std::string_view, Settings&) {
  return {};
}

}  // namespace slp::config
