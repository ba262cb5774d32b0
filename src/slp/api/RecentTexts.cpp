#include "slp/api/RecentTexts.h"

#include <algorithm>
#include <utility>

namespace slp::api {

const char* RecentTexts::keep(std::string text) {
  const std::lock_guard lock(mMutex);
  const auto found = std::find(mTexts.begin(), mTexts.end(), text);
  if (found != mTexts.end()) {
    mTexts.splice(mTexts.end(), mTexts, found);
  } else {
    mTexts.push_back(std::move(text));
    if (mTexts.size() > mCapacity) mTexts.pop_front();
  }
  return mTexts.back().c_str();
}

}  // namespace slp::api
