#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

/// Hands out the folded form one byte at a time.
class FoldedBytes {
 public:
  explicit FoldedBytes(std::string_view text) : mRest(text) {}

  bool atEnd() const { return mRest.empty(); }

  char next() {
    const char character = mRest.front();
    mRest.remove_prefix(1);
    if (!isBlank(character)) return lowered(character);
    while (!mRest.empty() && isBlank(mRest.front()))
      mRest.remove_prefix(1);
    return ' ';
  }

 private:
  std::string_view mRest;
};

}  // namespace

std::string folded(std::string_view text) {
  return foldedPiece(trimmed(text));
}

std::string foldedPiece(std::string_view piece) {
  std::string result;
  result.reserve(piece.size());
  for (FoldedBytes bytes(piece); !bytes.atEnd();)
    result += bytes.next();
  return result;
}

int compareFolded(std::string_view left, std::string_view right) {
  FoldedBytes leftBytes(trimmed(left));
  FoldedBytes rightBytes(trimmed(right));
  while (!leftBytes.atEnd() && !rightBytes.atEnd()) {
    const int difference = static_cast<unsigned char>(leftBytes.next()) - static_cast<unsigned char>(rightBytes.next());
    if (difference != 0) return difference;
  }
  return static_cast<int>(rightBytes.atEnd()) - static_cast<int>(leftBytes.atEnd());
}

std::string_view primaryLanguage(std::string_view tag) {
  const std::string_view whole = trimmed(tag);
  return whole.substr(0, whole.find('-'));
}

}  // namespace slp::wire
