#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace slp::config {

/// Lets one message of each subject through in a minute, and counts the others. Of a fixed size: when more subjects
/// come than it has places, the one that has been quiet longest is forgotten. For one thread at a time.
class LogLimiter {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  static constexpr std::chrono::minutes kInterval{1};
  static constexpr std::size_t kSubjects = 64;

  /// How many messages of the subject were left out since the last one; nothing when this is to be left out, too.
  std::optional<std::uint64_t> admit(std::string_view subject, TimePoint now);

 private:
  struct Place {
    bool taken = false;
    std::size_t subject = 0;  ///< its hash: two subjects that share one share a minute, which does no harm
    TimePoint last{};
    std::uint64_t leftOut = 0;
  };
  Place& placeOf(std::size_t subject);

  std::array<Place, kSubjects> mPlaces{};
};

}  // namespace slp::config
