#include "framework/utils/LogRepeats.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace utils::logging {

bool LogRepeats::admit(std::size_t key, log_level_t level, std::string_view text, TimePoint now) {
  while (!mMessages.empty() && now - mMessages.front().began >= kInterval) {
    forgetOldest();
  }
  const auto known = mByKey.find(key);
  if (known == mByKey.end()) {
    if (mMessages.size() >= kMessages) forgetOldest();
    mMessages.push_back({key, now, 1, {level, 0, {}}});
    mByKey.emplace(key, std::prev(mMessages.end()));
    return true;
  }
  Message& message = *known->second;
  if (message.written < kTimes) {
    ++message.written;
    return true;
  }
  message.leftOut = {level, message.leftOut.count + 1, std::string(text.substr(0, kSampleLength))};
  return false;
}

std::vector<LogRepeats::LeftOut> LogRepeats::takeDue(TimePoint now) {
  while (!mMessages.empty() && now - mMessages.front().began >= kInterval) {
    forgetOldest();
  }
  return std::exchange(mDue, {});
}

void LogRepeats::forgetOldest() {
  Message& oldest = mMessages.front();
  if (oldest.leftOut.count > 0 && mDue.size() < kMessages) mDue.push_back(std::move(oldest.leftOut));
  mByKey.erase(oldest.key);
  mMessages.pop_front();
}

std::size_t repeatKey(std::string_view text) {
  return std::hash<std::string_view>()(text);
}

bool hasWords(std::string_view format) {
  return std::any_of(format.begin(), format.end(),
                     [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); });
}

}  // namespace utils::logging
