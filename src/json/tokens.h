#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "json/reader.h"

// The tokens of a text. Documents are read without them: they serve to say what is wrong with a text that is none.
namespace json::detail {

enum class TokenKind {
  kEnd,
  kObjectBegin,
  kObjectEnd,
  kArrayBegin,
  kArrayEnd,
  kComma,
  kColon,
  kString,
  kNumber,
  kWord
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::size_t begin = 0;
  std::size_t end = 0;
};

Reader::Location locate(std::string_view text, std::size_t offset) noexcept;

// Cuts a text into tokens, without looking at their order or at the form of numbers. Throws Reader::ScanException.
class Scanner {
 public:
  explicit Scanner(std::string_view text) noexcept : mText(text) {}

  // After the last token: kEnd, at the end of the text.
  Token next();

 private:
  Token one(TokenKind kind) noexcept;
  Token number() noexcept;
  Token word();
  Token string();
  void escape(std::size_t begin);
  unsigned codeUnit(std::size_t escapeBegin);
  void multibyte();
  [[noreturn]] void fail(const char* message, std::size_t offset) const;

  std::string_view mText;
  std::size_t mPosition = 0;
};

// The content of a string token that a Scanner returned.
std::string unescape(std::string_view token);

// The nearest double; nothing when the text is no JSON number or is too large for a double.
std::optional<double> toNumber(std::string_view text) noexcept;

}  // namespace json::detail
