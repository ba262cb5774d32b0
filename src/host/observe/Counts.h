#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace host {

/// What plug-ins and the host count and measure, by name. The names are the program's own, but bounded all the same:
/// beyond the limits, and with a name of other characters than a-z, 0-9 and _, a new counter or gauge is passed over,
/// and a new kind counts as "other". Safe for every thread.
class Counts {
 public:
  static constexpr std::size_t kMostNames = 64;
  static constexpr std::size_t kMostKinds = 64;

  using Kinds = std::map<std::string, std::uint64_t, std::less<>>;
  using Counters = std::map<std::string, Kinds, std::less<>>;
  using Gauges = std::map<std::string, double, std::less<>>;

  void count(std::string_view counter, std::string_view kind, std::uint64_t by);
  void measure(std::string_view gauge, double value);

  Counters counters() const;
  /// The kinds of one counter; empty when it has not counted yet.
  Kinds kinds(std::string_view counter) const;
  Gauges gauges() const;

 private:
  mutable std::mutex mMutex;  ///< guards what follows
  Counters mCounters;
  Gauges mGauges;
};

/// The sum over the kinds.
std::uint64_t total(const Counts::Kinds& kinds);

}  // namespace host
