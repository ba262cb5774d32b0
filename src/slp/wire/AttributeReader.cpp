#include "slp/wire/AttributeReader.h"

#include <algorithm>

#include "slp/wire/Escape.h"
#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

constexpr auto kNone = std::string_view::npos;

/// A plain loop, because find_first_of calls memchr for every character of long values.
std::size_t parenthesisFrom(std::string_view text, std::size_t from) {
  for (std::size_t at = from; at < text.size(); ++at)
    if (text[at] == '(' || text[at] == ')') return at;
  return kNone;
}

}  // namespace

bool isTag(std::string_view text) {
  const std::string_view tag = trimmed(text);
  return !tag.empty() && std::none_of(tag.begin(), tag.end(), [](char character) {
    return character == '*' || (character != '\\' && isReserved(character));
  });
}

bool AttributeReader::next(AttributeTerm& term) {
  while (mAt < mList.size()) {
    const char character = mList[mAt];
    if (character == ',') {
      mKeywordMayStart = true;
      ++mAt;
    } else if (character == '(') {
      const bool read = readAttribute(term);
      mKeywordMayStart = false;
      if (read) return true;
      ++mAt;
    } else if (readKeyword(term)) {
      return true;
    }
  }
  return false;
}

bool AttributeReader::readAttribute(AttributeTerm& term) {
  const std::size_t equals = equalsSign(mAt);
  if (equals == kNone) return false;
  const std::size_t close = closing(mAt, equals);
  if (close == kNone) return false;
  term.text = mList.substr(mAt, close + 1 - mAt);
  term.tag = mList.substr(mAt + 1, equals - mAt - 1);
  term.values = mList.substr(equals + 1, close - equals - 1);
  term.keyword = false;
  mAt = close + 1;
  return true;
}

/// Goes to the next comma or parenthesis; what lies before it is a keyword when it stands between commas.
bool AttributeReader::readKeyword(AttributeTerm& term) {
  const std::size_t end = std::min(mList.find_first_of(",(", mAt), mList.size());
  const std::string_view text = mList.substr(mAt, end - mAt);
  const bool whole = end == mList.size() || mList[end] == ',';
  const bool keyword = mKeywordMayStart && whole && isTag(text);
  mAt = end;
  if (keyword) term = {text, text, {}, true};
  return keyword;
}

/// Of the attribute that opens there; none when it is no attribute.
std::size_t AttributeReader::equalsSign(std::size_t open) const {
  const std::size_t end = mList.find_first_of("=(),", open + 1);
  if (end == kNone || mList[end] != '=') return kNone;
  return isTag(mList.substr(open + 1, end - open - 1)) ? end : kNone;
}

std::size_t AttributeReader::closing(std::size_t open, std::size_t equals) {
  std::size_t at = parenthesisFrom(mList, equals + 1);
  if (at == kNone || mList[at] == ')') return at;
  const std::size_t pair = balanced(open);
  if (pair != kNone) return pair;
  while (at != kNone && mList[at] == '(') {
    if (equalsSign(at) != kNone) return kNone;
    at = parenthesisFrom(mList, at + 1);
  }
  return at;
}

std::size_t AttributeReader::balanced(std::size_t open) {
  if (!mPaired) {
    mPaired = true;
    std::vector<std::size_t> opened;
    for (std::size_t at = parenthesisFrom(mList, 0); at != kNone; at = parenthesisFrom(mList, at + 1)) {
      if (mList[at] == '(') {
        opened.push_back(at);
      } else if (!opened.empty()) {
        mPairs.emplace_back(opened.back(), at);
        opened.pop_back();
      }
    }
    std::sort(mPairs.begin(), mPairs.end());
  }
  const auto pair = std::lower_bound(mPairs.begin(), mPairs.end(), std::pair<std::size_t, std::size_t>(open, 0));
  return pair != mPairs.end() && pair->first == open ? pair->second : kNone;
}

bool ValueReader::next(std::string_view& value) {
  if (mAtEnd) return false;
  const std::size_t comma = mRest.find(',');
  value = mRest.substr(0, comma);
  mAtEnd = comma == kNone;
  if (!mAtEnd) mRest.remove_prefix(comma + 1);
  return true;
}

}  // namespace slp::wire
