#include "json/diagnosis.h"

#include <set>
#include <string>
#include <vector>

#include "json/tokens.h"

namespace json::detail {
namespace {

// Follows the tokens of a text in the order in which a document has them, and throws at the first that is out of it.
class Grammar {
 public:
  explicit Grammar(std::string_view text) noexcept : mText(text), mScanner(text) {}

  void check() {
    Token token;
    do {
      token = mScanner.next();
      accept(token);
    } while (token.kind != TokenKind::kEnd);
  }

 private:
  enum class Expected {
    kValue,
    kValueOrArrayEnd,
    kName,
    kNameOrObjectEnd,
    kColon,
    kCommaOrObjectEnd,
    kCommaOrArrayEnd,
    kEnd
  };

  struct Level {
    bool isObject;
    std::set<std::string> names;  // ordered: nobody can make the names collide
  };

  void accept(const Token& token) {
    switch (mExpected) {
      case Expected::kValueOrArrayEnd:
        if (token.kind == TokenKind::kArrayEnd) return close();
        [[fallthrough]];
      case Expected::kValue:
        return acceptValue(token);
      case Expected::kNameOrObjectEnd:
        if (token.kind == TokenKind::kObjectEnd) return close();
        [[fallthrough]];
      case Expected::kName:
        return acceptName(token);
      case Expected::kColon:
        if (token.kind != TokenKind::kColon) fail("expected a colon", token);
        mExpected = Expected::kValue;
        return;
      case Expected::kCommaOrObjectEnd:
        if (token.kind == TokenKind::kObjectEnd) return close();
        if (token.kind != TokenKind::kComma) fail("expected a comma or the end of the object", token);
        mExpected = Expected::kName;
        return;
      case Expected::kCommaOrArrayEnd:
        if (token.kind == TokenKind::kArrayEnd) return close();
        if (token.kind != TokenKind::kComma) fail("expected a comma or the end of the array", token);
        mExpected = Expected::kValue;
        return;
      case Expected::kEnd:
        if (token.kind != TokenKind::kEnd) fail("text after the document", token);
        return;
    }
  }

  void acceptValue(const Token& token) {
    switch (token.kind) {
      case TokenKind::kObjectBegin:
        return open(token, true);
      case TokenKind::kArrayBegin:
        return open(token, false);
      case TokenKind::kNumber:
        if (!toNumber(textOf(token))) fail("malformed number", token);
        return expectWhatFollowsValue();
      case TokenKind::kString:
      case TokenKind::kWord:
        return expectWhatFollowsValue();
      default:
        fail("expected a value", token);
    }
  }

  void acceptName(const Token& token) {
    if (token.kind != TokenKind::kString) fail("expected a member name", token);
    if (!mLevels.back().names.insert(unescape(textOf(token))).second) fail("repeated member name", token);
    mExpected = Expected::kColon;
  }

  void open(const Token& token, bool isObject) {
    if (mLevels.size() == Reader::kMaxDepth) fail("nested too deeply", token);
    mLevels.push_back({isObject, {}});
    mExpected = isObject ? Expected::kNameOrObjectEnd : Expected::kValueOrArrayEnd;
  }

  void close() {
    mLevels.pop_back();
    expectWhatFollowsValue();
  }

  void expectWhatFollowsValue() {
    if (mLevels.empty()) {
      mExpected = Expected::kEnd;
    } else {
      mExpected = mLevels.back().isObject ? Expected::kCommaOrObjectEnd : Expected::kCommaOrArrayEnd;
    }
  }

  std::string_view textOf(const Token& token) const { return mText.substr(token.begin, token.end - token.begin); }

  [[noreturn]] void fail(const char* message, const Token& token) const {
    throw Reader::ParseException(token.kind == TokenKind::kEnd ? "unexpected end of the text" : message,
                                 locate(mText, token.begin), locate(mText, token.end));
  }

  std::string_view mText;
  Scanner mScanner;
  Expected mExpected = Expected::kValue;
  std::vector<Level> mLevels;
};

}  // namespace

void throwDiagnosis(std::string_view text, std::size_t rejectedAt) {
  Scanner scanner(text);
  while (scanner.next().kind != TokenKind::kEnd) {
  }
  Grammar(text).check();
  const Reader::Location rejected = locate(text, rejectedAt);
  throw Reader::ParseException(kNoDiagnosis, rejected, rejected);
}

}  // namespace json::detail
