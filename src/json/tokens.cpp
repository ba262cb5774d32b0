#include "json/tokens.h"

#include <algorithm>
#include <charconv>

#include "json/utf8.h"

namespace json::detail {
namespace {

bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}
bool isLetter(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isNumberCharacter(char c) noexcept {
  return isDigit(c) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}
bool isLeadingSurrogate(unsigned unit) noexcept {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool isTrailingSurrogate(unsigned unit) noexcept {
  return unit >= 0xDC00 && unit < 0xE000;
}

unsigned fourHexDigits(std::string_view text, std::size_t begin) noexcept {
  unsigned unit = 0;
  std::from_chars(text.data() + begin, text.data() + begin + 4, unit, 16);
  return unit;
}

std::size_t skipDigits(std::string_view text, std::size_t at) noexcept {
  while (at < text.size() && isDigit(text[at])) {
    ++at;
  }
  return at;
}

// Where the parts of a number begin; the exponent's begin at its sign or first digit, or at the end of the text.
struct NumberParts {
  std::size_t integer;
  std::size_t fraction;
  std::size_t exponent;
};

std::optional<NumberParts> partsOf(std::string_view text) noexcept {
  NumberParts parts{text.starts_with('-') ? std::size_t{1} : 0, 0, text.size()};
  std::size_t at = skipDigits(text, parts.integer);
  if (at == parts.integer || (text[parts.integer] == '0' && at > parts.integer + 1)) return std::nullopt;
  parts.fraction = at;
  if (at < text.size() && text[at] == '.') {
    parts.fraction = at + 1;
    at = skipDigits(text, parts.fraction);
    if (at == parts.fraction) return std::nullopt;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    parts.exponent = ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    const std::size_t digits = at;
    at = skipDigits(text, digits);
    if (at == digits) return std::nullopt;
  }
  return at == text.size() ? std::optional(parts) : std::nullopt;
}

// The exponent as it is written, 0 if it is not; nothing when it is beyond any use.
std::optional<std::ptrdiff_t> exponentOf(std::string_view digits) noexcept {
  constexpr std::ptrdiff_t kLargest = 1'000'000'000;
  if (digits.empty()) return 0;
  if (digits.starts_with('+')) digits.remove_prefix(1);
  std::ptrdiff_t exponent = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
  const bool isUsable = read.ec == std::errc() && exponent <= kLargest && exponent >= -kLargest;
  return isUsable ? std::optional(exponent) : std::nullopt;
}

// Whether a number that is out of the range of double is so because it is too small.
bool isTooSmall(std::string_view text, const NumberParts& parts, std::ptrdiff_t exponent) noexcept {
  const auto firstDigit = static_cast<std::ptrdiff_t>(text.find_first_of("123456789", parts.integer));
  return static_cast<std::ptrdiff_t>(parts.fraction) - firstDigit + exponent < 0;
}

}  // namespace

Reader::Location locate(std::string_view text, std::size_t offset) noexcept {
  const std::string_view before = text.substr(0, offset);
  const std::size_t lineFeed = before.rfind('\n');
  const std::size_t lineBegin = lineFeed == std::string_view::npos ? 0 : lineFeed + 1;
  return {static_cast<unsigned>(std::count(before.begin(), before.end(), '\n')),
          static_cast<unsigned>(before.size() - lineBegin), static_cast<unsigned>(before.size())};
}

Token Scanner::next() {
  mPosition = std::min(mText.find_first_not_of(" \t\r\n", mPosition), mText.size());
  if (mPosition == mText.size()) return {TokenKind::kEnd, mPosition, mPosition};
  switch (const char c = mText[mPosition]) {
    case '{':
      return one(TokenKind::kObjectBegin);
    case '}':
      return one(TokenKind::kObjectEnd);
    case '[':
      return one(TokenKind::kArrayBegin);
    case ']':
      return one(TokenKind::kArrayEnd);
    case ',':
      return one(TokenKind::kComma);
    case ':':
      return one(TokenKind::kColon);
    case '"':
      return string();
    default:
      if (isDigit(c) || c == '-') return number();
      if (isLetter(c)) return word();
      fail("no token starts with this character", mPosition);
  }
}

Token Scanner::one(TokenKind kind) noexcept {
  const std::size_t begin = mPosition++;
  return {kind, begin, mPosition};
}

Token Scanner::number() noexcept {
  const std::size_t begin = mPosition;
  while (mPosition < mText.size() && isNumberCharacter(mText[mPosition])) {
    ++mPosition;
  }
  return {TokenKind::kNumber, begin, mPosition};
}

Token Scanner::word() {
  const std::size_t begin = mPosition;
  while (mPosition < mText.size() && isLetter(mText[mPosition])) {
    ++mPosition;
  }
  const std::string_view word = mText.substr(begin, mPosition - begin);
  if (word != "true" && word != "false" && word != "null") fail("unknown literal", begin);
  return {TokenKind::kWord, begin, mPosition};
}

Token Scanner::string() {
  const std::size_t begin = mPosition++;
  while (mPosition < mText.size()) {
    const auto c = static_cast<unsigned char>(mText[mPosition]);
    if (c == '"') {
      ++mPosition;
      return {TokenKind::kString, begin, mPosition};
    }
    if (c < 0x20) fail("control character in a string", mPosition);
    if (c == '\\') {
      escape(mPosition);
    } else if (c < 0x80) {
      ++mPosition;
    } else {
      multibyte();
    }
  }
  fail("unterminated string", begin);
}

void Scanner::escape(std::size_t begin) {
  if (begin + 1 == mText.size()) fail("bad escape", begin);
  if (mText[begin + 1] != 'u') {
    if (std::string_view("\"\\/bfnrt").find(mText[begin + 1]) == std::string_view::npos) fail("bad escape", begin);
    mPosition = begin + 2;
    return;
  }
  const unsigned unit = codeUnit(begin);
  if (isTrailingSurrogate(unit)) fail("trailing surrogate without a leading one", begin);
  if (!isLeadingSurrogate(unit)) return;
  if (mText.substr(mPosition, 2) != "\\u") fail("leading surrogate without a trailing one", begin);
  if (!isTrailingSurrogate(codeUnit(mPosition))) fail("leading surrogate without a trailing one", begin);
}

unsigned Scanner::codeUnit(std::size_t escapeBegin) {
  const std::string_view digits = mText.substr(escapeBegin + 2, 4);
  if (digits.size() < 4 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos) {
    fail("bad escape", escapeBegin);
  }
  mPosition = escapeBegin + 6;
  return fourHexDigits(digits, 0);
}

void Scanner::multibyte() {
  const std::size_t length = utf8SequenceLength(mText.substr(mPosition));
  if (length == 0) fail("not UTF-8", mPosition);
  mPosition += length;
}

void Scanner::fail(const char* message, std::size_t offset) const {
  throw Reader::ScanException(message, locate(mText, offset));
}

std::string unescape(std::string_view token) {
  const std::string_view text = token.substr(1, token.size() - 2);
  std::string content;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      content.push_back(text[at]);
      continue;
    }
    ++at;
    if (text[at] != 'u') {
      constexpr std::string_view kLetters = "bfnrt";
      constexpr std::string_view kMeanings = "\b\f\n\r\t";
      const std::size_t letter = kLetters.find(text[at]);
      content.push_back(letter == std::string_view::npos ? text[at] : kMeanings[letter]);
      continue;
    }
    unsigned codePoint = fourHexDigits(text, at + 1);
    at += 4;
    if (isLeadingSurrogate(codePoint)) {
      codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (fourHexDigits(text, at + 3) - 0xDC00);
      at += 6;
    }
    appendUtf8(content, codePoint);
  }
  return content;
}

std::optional<double> toNumber(std::string_view text) noexcept {
  const std::optional<NumberParts> parts = partsOf(text);
  if (!parts) return std::nullopt;
  const std::optional<std::ptrdiff_t> exponent = exponentOf(text.substr(parts->exponent));
  if (!exponent) return std::nullopt;
  double value = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  if (read.ec == std::errc()) return value;
  if (!isTooSmall(text, *parts, *exponent)) return std::nullopt;
  return text.starts_with('-') ? -0.0 : 0.0;
}

}  // namespace json::detail
