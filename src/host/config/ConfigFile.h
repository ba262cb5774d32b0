#pragma once

#include <string>
#include <string_view>

#include "host/Result.h"
#include "host/config/Settings.h"

namespace host {

/// Reads a configuration in TOML. A mistake never passes: an unknown section or key, a value of the wrong kind or out
/// of range. The error then has one line for each, "FILE:LINE: section.key: what is wrong".
Result<Settings> readConfig(std::string_view text, const std::string& file);

/// The same from a file of at most 1 MiB.
Result<Settings> loadConfig(const std::string& path);

/// The settings as a configuration file that explains itself and reads back to them.
std::string dumpConfig(const Settings& settings);

}  // namespace host
