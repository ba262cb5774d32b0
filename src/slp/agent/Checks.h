#pragma once

#include <string>
#include <string_view>

#include "slp/wire/StringList.h"
#include "slp/wire/Text.h"

namespace slp::agent {

/// Whether the scopes of a registration are asked for. Most registrations share one interned text, so that the last
/// answer is remembered.
class ScopeCheck {
 public:
  explicit ScopeCheck(std::string_view asked) : mAsked(asked) {}

  bool admits(const std::string* scopes) {
    if (scopes != mLast) {
      mLast = scopes;
      mResult = *scopes == mAsked ? !mAsked.empty() : wire::intersects(*scopes, mAsked);
    }
    return mResult;
  }

 private:
  std::string_view mAsked;
  const std::string* mLast = nullptr;
  bool mResult = false;
};

enum class Spoken { kNo, kPrimary, kExact };

/// The same for languages.
class LanguageCheck {
 public:
  explicit LanguageCheck(std::string_view asked) : mAsked(asked) {}

  Spoken spoken(const std::string* language) {
    if (language == mLast) return mResult;
    mLast = language;
    mResult = Spoken::kNo;
    if (wire::equalFolded(*language, mAsked)) {
      mResult = Spoken::kExact;
    } else if (wire::equalFolded(wire::primaryLanguage(*language), wire::primaryLanguage(mAsked))) {
      mResult = Spoken::kPrimary;
    }
    return mResult;
  }

 private:
  std::string_view mAsked;
  const std::string* mLast = nullptr;
  Spoken mResult = Spoken::kNo;
};

}  // namespace slp::agent
