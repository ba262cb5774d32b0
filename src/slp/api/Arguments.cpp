#include "slp/api/Arguments.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "slp/wire/Limits.h"
#include "slp/wire/StringList.h"

namespace slp::api {
namespace {

bool isTagCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
}

}  // namespace

std::optional<std::string> optionalText(const char* text) {
  if (text == nullptr) return std::string();
  const std::size_t length = strnlen(text, limits::kMaxText + 1);
  if (length > limits::kMaxText) return std::nullopt;
  return std::string(text, length);
}

std::optional<std::string> requiredText(const char* text) {
  std::optional<std::string> result = optionalText(text);
  if (result && result->empty()) result.reset();
  return result;
}

std::optional<std::string> scopesOr(const char* text, const config::Settings& settings) {
  std::optional<std::string> result = optionalText(text);
  if (result && wire::splitList(*result).empty()) result = settings.scopes;
  return result;
}

std::optional<std::string> languageOr(const char* text, const config::Settings& settings) {
  std::optional<std::string> result = optionalText(text);
  if (result && result->empty()) result = settings.locale;
  const bool good = result && result->size() <= limits::kMaxLanguageTag &&
                    std::all_of(result->begin(), result->end(), isTagCharacter);
  if (!good) result.reset();
  return result;
}

}  // namespace slp::api
