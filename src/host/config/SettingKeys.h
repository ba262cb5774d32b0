#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/config/Settings.h"

namespace host {

/// A value as a configuration file gives it.
using ConfigValue = std::variant<std::int64_t, bool, std::string, std::vector<std::string>>;

/// One key of the configuration: the one place that knows how it is documented, read and shown.
struct SettingKey {
  std::string section;
  std::string name;
  std::string meaning;  ///< for the operator: unit, default and range included
  /// Nothing when the value was taken, else what is wrong with it; the settings are then unchanged.
  std::function<std::optional<std::string>(Settings&, const ConfigValue&)> set;
  /// The present value as it is written in a file.
  std::function<std::string(const Settings&)> show;
};

/// Every key, section by section.
const std::vector<SettingKey>& settingKeys();

/// Null when there is none.
const SettingKey* findSettingKey(std::string_view section, std::string_view name);

/// The names of a section's keys, "a, b, c"; "" when there is no such section.
std::string knownKeys(std::string_view section);
/// The names of the sections, "a, b, c".
std::string knownSections();

}  // namespace host
