#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "slp/config/Settings.h"

namespace slp::config {

/// One row of the table of properties.
struct Property {
  std::string_view name;
  std::string_view defaultValue;
  std::string_view unit;  ///< "ms", "s", "bytes", "" for none
  bool readOnly;          ///< only a file sets it (RFC 2614, section 2.1)
  std::string_view meaning;
};

/// Every property that is known, in the order of the documentation.
const std::vector<Property>& propertyTable();

/// The properties of the process: the table's defaults, the file's values, then those set by the program. Safe for
/// every thread.
class Properties {
 public:
  /// The value as text; nothing for a property that is neither known nor set.
  std::optional<std::string> get(std::string_view name) const;
  /// False, and nothing is changed, when the value cannot be read as the property needs it, or the property is
  /// read-only.
  bool set(std::string_view name, std::string_view value);
  /// Reads a file (RFC 2614, section 2.1): "name = value" lines, "#" and ";" comments. Each line that cannot be used is
  /// one text in the result, with file, line and reason; the others count.
  std::vector<std::string> readFile(const std::string& path);
  /// The values, read into their types.
  Settings settings() const;

 private:
  mutable std::mutex mMutex;
  std::map<std::string, std::string, std::less<>> mValues;
};

/// The file to read: the environment's SLP_CONF, else /etc/slp.conf; nothing when that is not there. A program that
/// runs with raised privileges (set-user-ID) does not look at the environment.
std::optional<std::string> configurationFile();

}  // namespace slp::config
