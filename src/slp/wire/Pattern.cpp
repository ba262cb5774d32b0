#include "slp/wire/Pattern.h"

#include <algorithm>
#include <cstring>

#include "slp/wire/Escape.h"
#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

/// memmem has a bound that std::string_view::find lacks.
std::size_t findIn(std::string_view text, std::string_view piece) {
  if (text.size() < piece.size()) return std::string_view::npos;
  const void* const found = memmem(text.data(), text.size(), piece.data(), piece.size());
  return found == nullptr ? std::string_view::npos
                          : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

}  // namespace

std::size_t Pattern::wildcardsIn(std::string_view raw) {
  return static_cast<std::size_t>(std::count(raw.begin(), raw.end(), '*'));
}

Pattern::Pattern(std::string_view raw) {
  std::string_view rest = trimmed(raw);
  std::size_t star = rest.find('*');
  mStart = foldedPiece(unescapeLeniently(rest.substr(0, star)));
  while (star != std::string_view::npos) {
    rest.remove_prefix(star + 1);
    star = rest.find('*');
    std::string piece = foldedPiece(unescapeLeniently(rest.substr(0, star)));
    if (star == std::string_view::npos) {
      mEnd = std::move(piece);
    } else if (!piece.empty()) {
      mMiddle.push_back(std::move(piece));
    }
  }
}

bool Pattern::matches(std::string_view foldedText) const {
  std::string_view rest = foldedText;
  if (rest.size() < mStart.size() + mEnd.size() || !rest.starts_with(mStart) || !rest.ends_with(mEnd)) return false;
  rest.remove_prefix(mStart.size());
  rest.remove_suffix(mEnd.size());
  for (const std::string& piece : mMiddle) {
    const std::size_t at = findIn(rest, piece);
    if (at == std::string_view::npos) return false;
    rest.remove_prefix(at + piece.size());
  }
  return true;
}

}  // namespace slp::wire
