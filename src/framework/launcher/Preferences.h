#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace launcher {

/// The host's settings. Getters are safe for every thread; the host fills the table from its configuration before it
/// loads a library. Every setting has a default, so an empty configuration is a complete one.
class Preferences {
 public:
  /// What there is to know of one setting: the table behind the getters, the configuration file and its documentation.
  struct Setting {
    enum Kind { kNumber, kMilliseconds, kFlag, kText };
    std::string_view name;  ///< the getter's name without "get"
    Kind kind;
    std::string_view defaultValue;
    std::uint32_t minimum;  ///< of numbers and intervals
    std::uint32_t maximum;
    std::string_view meaning;  ///< one line for the operator, unit included
  };

  static Preferences* get_instance();

  Preferences();

  std::string get_listening_port() const;
  std::string get_uri_prefix() const;
  std::string getNATDetails() const;
  unsigned int get_installation_oem_type() const;
  unsigned int getInstallationType() const;
  /// Milliseconds.
  unsigned int getIPChangePollingInterval() const;
  /// Milliseconds.
  unsigned int get_slp_find_service_interval() const;
  unsigned int get_slp_find_service_strictness() const;
  unsigned int get_max_processing_threads_count() const;
  unsigned int get_enable_multicast() const;

  // The substitute's own.

  static const std::vector<Setting>& settings();
  /// Sets one setting from its text ("30s" and "5m" are intervals, too). Nothing when it was taken, else what is wrong
  /// with name or value, in words for the operator; the setting then keeps its value.
  std::optional<std::string> set(std::string_view name, std::string_view value);
  /// The present value as text; "" for a name that does not exist.
  std::string get(std::string_view name) const;
  /// Every setting back to its default.
  void reset();

 private:
  unsigned int number(std::string_view name) const;

  mutable std::mutex mMutex;
  std::vector<std::string> mValues;  ///< in the order of `settings()`
};

/// Reads "1500", "1500ms", "30s", "5m", "2h" as milliseconds; nothing when it is none of these or does not fit.
std::optional<std::uint32_t> parseMilliseconds(std::string_view text);

}  // namespace launcher
