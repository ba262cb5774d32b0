#include "slp/config/PropertyValues.h"

#include <charconv>
#include <limits>

#include "slp/wire/Escape.h"
#include "slp/wire/Text.h"

namespace slp::config {
namespace {

using wire::isControl;

constexpr std::string_view kBlanks = " \t";
/// Nobody needs more; a list is walked at every search.
constexpr std::size_t kMaxElements = 256;
constexpr std::size_t kMaxTimeouts = 32;
constexpr std::int64_t kMaxTimeout = 60'000;
constexpr std::size_t kMaxLanguagePart = 8;
constexpr std::size_t kMaxLanguageParts = 4;
/// RFC 2608, section 6.4: what must be escaped in a scope's name; the comma separates names.
constexpr std::string_view kReserved = "()!<=>~";

bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isScope(std::string_view name) {
  return unescaped(name) && std::none_of(name.begin(), name.end(), [](char character) {
           return isControl(character) || kReserved.find(character) != std::string_view::npos;
         });
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      plain += text[i];
      continue;
    }
    const auto byte = wire::escapedByte(text.substr(i));
    if (!byte) return std::nullopt;
    plain += *byte;
    i += 2;
  }
  return plain;
}

std::vector<std::string_view> elements(std::string_view list) {
  std::vector<std::string_view> found;
  while (!list.empty()) {
    const auto comma = std::min(list.find(','), list.size());
    const auto element = trimmed(list.substr(0, comma));
    if (!element.empty()) found.push_back(element);
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  return found;
}

std::string readNumber(std::string_view text, std::int64_t least, std::int64_t most, std::int64_t& into) {
  std::int64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value);
  if (read.ec == std::errc() && read.ptr == end && value >= least && value <= most) {
    into = value;
    return {};
  }
  return "not a number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::string readFlag(std::string_view text, bool& into) {
  const bool on = wire::equalFolded(text, "true");
  if (!on && !wire::equalFolded(text, "false")) return "neither true nor false";
  into = on;
  return {};
}

std::string readStrings(std::string_view text, std::vector<std::string>& into) {
  std::vector<std::string> read;
  for (const auto element : elements(text)) {
    auto plain = unescaped(element);
    if (!plain) return "an escape is not a backslash and two hexadecimal digits";
    if (read.size() == kMaxElements) return "more than " + std::to_string(kMaxElements) + " elements";
    read.push_back(std::move(*plain));
  }
  into = std::move(read);
  return {};
}

std::string readTimeouts(std::string_view text, std::vector<Milliseconds>& into) {
  std::vector<Milliseconds> read;
  for (const auto element : elements(text)) {
    std::int64_t timeout = 0;
    if (auto problem = readNumber(element, 1, kMaxTimeout, timeout); !problem.empty()) return problem;
    if (read.size() == kMaxTimeouts) return "more than " + std::to_string(kMaxTimeouts) + " numbers";
    read.emplace_back(timeout);
  }
  if (read.empty()) return "no number";
  into = std::move(read);
  return {};
}

std::string readScopes(std::string_view text, std::string& into) {
  std::string read;
  const auto scopes = elements(text);
  if (scopes.empty()) return "no scope";
  if (scopes.size() > kMaxElements) return "more than " + std::to_string(kMaxElements) + " scopes";
  for (const auto scope : scopes) {
    if (!isScope(scope)) return "a scope has characters that must be escaped";
    if (!read.empty()) read += ',';
    // The escapes stay: they are those of the messages (RFC 2614, section 2).
    read += scope;
  }
  into = std::move(read);
  return {};
}

std::string readLanguage(std::string_view text, std::string& into) {
  constexpr const char* problem = "not a language tag such as en or de-AT";
  std::size_t parts = 1;
  std::size_t length = 0;
  for (const char character : text) {
    const bool digit = character >= '0' && character <= '9';
    if (character == '-' && length > 0) {
      length = 0;
      if (++parts > kMaxLanguageParts) return problem;
    } else if ((!isLetter(character) && (!digit || parts == 1)) || ++length > kMaxLanguagePart) {
      return problem;
    }
  }
  if (length == 0) return problem;
  into = text;
  return {};
}

std::string readMaxResults(std::string_view text, int& into) {
  std::int64_t most = 0;
  if (!readNumber(text, -1, std::numeric_limits<int>::max(), most).empty() || most == 0)
    return "neither -1 nor a positive number";
  into = static_cast<int>(most);
  return {};
}

}  // namespace slp::config
