#include "cli/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace cli {
namespace {

struct Character {
  char32_t code;
  std::string_view bytes;  ///< where it stands in the text
};

constexpr char32_t kReplacement = 0xFFFD;

/// The length and the first bits of a sequence, from its first byte; length 0 for a byte that begins none.
struct Lead {
  std::size_t length;
  char32_t bits;
  char32_t smallest;  ///< anything below has a shorter form
};

Lead readLead(unsigned char byte) {
  if (byte < 0x80) return {1, byte, 0};
  if ((byte & 0xE0u) == 0xC0u) return {2, byte & 0x1Fu, 0x80};
  if ((byte & 0xF0u) == 0xE0u) return {3, byte & 0x0Fu, 0x800};
  if ((byte & 0xF8u) == 0xF0u) return {4, byte & 0x07u, 0x10000};
  return {0, 0, 0};
}

/// Takes the first character off the text, which must not be empty.
Character take(std::string_view& text) {
  const Lead lead = readLead(static_cast<unsigned char>(text.front()));
  char32_t code = lead.bits;
  std::size_t length = 1;
  while (length < lead.length && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0u) == 0x80u) {
    code = code << 6 | (static_cast<unsigned char>(text[length]) & 0x3Fu);
    ++length;
  }
  const bool whole = lead.length != 0 && length == lead.length;
  const bool allowed = code >= lead.smallest && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
  const Character character{whole && allowed ? code : kReplacement, text.substr(0, length)};
  text.remove_prefix(length);
  return character;
}

struct Range {
  char32_t first;
  char32_t last;
};

template <std::size_t N>
bool contains(const std::array<Range, N>& sorted, char32_t code) {
  const auto next = std::upper_bound(sorted.begin(), sorted.end(), code,
                                     [](char32_t value, const Range& range) { return value < range.first; });
  return next != sorted.begin() && code <= std::prev(next)->last;
}

/// Controls, invisible characters, line separators, and what turns the direction of writing.
constexpr std::array<Range, 13> kHarmful{{{0x0, 0x1F},
                                          {0x7F, 0x9F},
                                          {0xAD, 0xAD},
                                          {0x61C, 0x61C},
                                          {0x115F, 0x1160},
                                          {0x180E, 0x180E},
                                          {0x200B, 0x200F},
                                          {0x2028, 0x202E},
                                          {0x2060, 0x206F},
                                          {0x3164, 0x3164},
                                          {0xFEFF, 0xFEFF},
                                          {0xFFF9, 0xFFFB},
                                          {0xE0000, 0xE0FFF}}};

/// Marks that are drawn over the character before them.
constexpr std::array<Range, 9> kWidthless{{{0x300, 0x36F},
                                           {0x483, 0x489},
                                           {0x591, 0x5BD},
                                           {0x610, 0x61A},
                                           {0x64B, 0x65F},
                                           {0x1AB0, 0x1AFF},
                                           {0x1DC0, 0x1DFF},
                                           {0x20D0, 0x20FF},
                                           {0xFE00, 0xFE2F}}};

/// What terminals draw two columns wide: the scripts of East Asia, and pictures.
constexpr std::array<Range, 11> kWide{{{0x1100, 0x115E},
                                       {0x2E80, 0x303E},
                                       {0x3041, 0xA4CF},
                                       {0xA960, 0xA97F},
                                       {0xAC00, 0xD7A3},
                                       {0xF900, 0xFAFF},
                                       {0xFE30, 0xFE6F},
                                       {0xFF00, 0xFF60},
                                       {0xFFE0, 0xFFE6},
                                       {0x1F300, 0x1FAFF},
                                       {0x20000, 0x3FFFD}}};

std::size_t widthOf(char32_t code) {
  if (contains(kWidthless, code)) return 0;
  return contains(kWide, code) ? 2 : 1;
}

std::string visibleEscape(char32_t code) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), code > 0xFFFF ? "\\U%08x" : "\\u%04x", static_cast<unsigned>(code));
  return text.data();
}

/// JSON writes what lies beyond four digits as two halves.
std::string jsonEscape(char32_t code) {
  if (code <= 0xFFFF) return visibleEscape(code);
  const char32_t offset = code - 0x10000;
  return visibleEscape(0xD800 + (offset >> 10)) + visibleEscape(0xDC00 + (offset & 0x3FF));
}

template <typename IsHarmful, typename Escape>
std::string escapeWhere(std::string_view text, IsHarmful isHarmful, Escape escape) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = take(text);
    if (isHarmful(character.code)) {
      result += escape(character.code);
    } else if (character.code == kReplacement) {
      result += "\xEF\xBF\xBD";
    } else {
      result += character.bytes;
    }
  }
  return result;
}

bool isHarmful(char32_t code) {
  return contains(kHarmful, code);
}

}  // namespace

std::string neutralise(std::string_view text) {
  return escapeWhere(text, isHarmful, visibleEscape);
}

std::string neutraliseJson(std::string_view document) {
  const auto harmfulInJson = [](char32_t code) { return code != U'\n' && code != U'\t' && isHarmful(code); };
  return escapeWhere(document, harmfulInJson, jsonEscape);
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty())
    width += widthOf(take(text).code);
  return width;
}

std::string shorten(std::string_view text, std::size_t columns) {
  constexpr std::string_view kEllipsis = "...";
  constexpr std::size_t kMarksPerColumn = 4;
  std::size_t width = 0;
  std::size_t characters = 0;
  std::size_t kept = 0;  // bytes that leave room for the ellipsis
  for (std::string_view rest = text; !rest.empty();) {
    const Character character = take(rest);
    width += widthOf(character.code);
    ++characters;
    if (width + kEllipsis.size() <= columns) kept = text.size() - rest.size();
    if (width > columns || characters > columns * kMarksPerColumn) {
      return std::string(text.substr(0, kept)).append(kEllipsis);
    }
  }
  return std::string(text);
}

}  // namespace cli
