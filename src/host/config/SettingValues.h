#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/config/SettingKeys.h"

namespace host {

/// What is wrong with a value; nothing when it was taken.
using Problem = std::optional<std::string>;

/// As a configuration file has it.
std::string quoted(std::string_view text);
std::string quotedList(const std::vector<std::string>& texts);
std::string flagText(bool flag);

Problem takeText(const ConfigValue& value, std::string& target);
/// A text of "true" or "false" will do.
Problem takeFlag(const ConfigValue& value, bool& target);
Problem takeList(const ConfigValue& value, std::vector<std::string>& target);
Problem takeNumber(const ConfigValue& value, std::int64_t minimum, std::int64_t maximum, std::int64_t& target);
/// Milliseconds, or a text such as "30s".
Problem takeInterval(const ConfigValue& value, std::int64_t minimum, std::int64_t maximum, std::int64_t& target);

}  // namespace host
