#pragma once

#include <stdexcept>
#include <string_view>

#include "framework/launcher/Preferences.h"

namespace support {

/// Default settings at its beginning and at its end.
class PreferencesGuard {
 public:
  PreferencesGuard() { launcher::Preferences::get_instance()->reset(); }
  ~PreferencesGuard() { launcher::Preferences::get_instance()->reset(); }
  PreferencesGuard(const PreferencesGuard&) = delete;
  PreferencesGuard& operator=(const PreferencesGuard&) = delete;

  /// Throws std::logic_error when the value is refused.
  void set(std::string_view name, std::string_view value) {
    if (const auto error = launcher::Preferences::get_instance()->set(name, value)) throw std::logic_error(*error);
  }
};

}  // namespace support
