#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "framework/utils/Log.h"

namespace utils::logging {

/// Keeps one message that comes again and again from filling the log: so many of it pass in an interval that begins
/// with the first, the others are counted. Of a bounded size, whatever strangers bring into messages: when more of them
/// come than there are places, the one whose interval began first gives its place up. Not guarded.
class LogRepeats {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  static constexpr std::chrono::minutes kInterval{1};
  static constexpr unsigned int kTimes = 5;
  static constexpr std::size_t kMessages = 256;
  static constexpr std::size_t kSampleLength = 200;

  /// What was left out of one message.
  struct LeftOut {
    log_level_t level;
    std::uint64_t count;
    std::string sample;  ///< the beginning of the last one that was left out
  };

  /// Whether this one is to be written. Two messages that share a key share an interval, which does no harm.
  bool admit(std::size_t key, log_level_t level, std::string_view text, TimePoint now);

  /// What was left out in intervals that are over, and was not yet told; the oldest first.
  std::vector<LeftOut> takeDue(TimePoint now);

 private:
  struct Message {
    std::size_t key;
    TimePoint began;
    unsigned int written;
    LeftOut leftOut;
  };
  void forgetOldest();

  std::list<Message> mMessages;  ///< in the order in which their intervals began
  std::unordered_map<std::size_t, std::list<Message>::iterator> mByKey;
  std::vector<LeftOut> mDue;
};

/// What tells one message from another: the format that they are made of, or a text.
std::size_t repeatKey(std::string_view text);
/// Whether a format has words of its own, so that it names a message; "%1%: %2%" has none.
bool hasWords(std::string_view format);

}  // namespace utils::logging
