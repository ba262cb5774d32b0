#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "slp/config/Settings.h"

namespace slp::config {

/// One row of the table of properties.
struct Property {
  /// Reads a value into its place in the settings: empty, or why it cannot be read (then nothing is changed).
  using Reader = std::string (*)(std::string_view value, Settings& into);

  std::string_view name;
  std::string_view defaultValue;
  std::string_view unit;  ///< "ms", "s", "bytes", "" for none
  bool readOnly;          ///< only a file sets it (RFC 2614, section 2.1)
  std::string_view meaning;
  Reader read;
};

/// Every property that is known, in the order of the documentation.
std::span<const Property> propertyTable();
/// Null for one that is not known.
const Property* findProperty(std::string_view name);

/// The properties of the process: the table's defaults, the file's values, then those set by the program. Safe for
/// every thread.
class Properties {
 public:
  /// The value as text; nothing for a property that is neither known nor set.
  std::optional<std::string> get(std::string_view name) const;
  /// False, with the reason, and nothing is changed, when the value cannot be read as the property needs it, or the
  /// property is read-only.
  bool set(std::string_view name, std::string_view value, std::string* reason = nullptr);
  /// Reads a file (RFC 2614, section 2.1): "name = value" lines, "#" and ";" comments. Each line that cannot be used,
  /// or names no property that is known, is one text in the result, with file, line and reason; the others count.
  std::vector<std::string> readFile(const std::string& path);
  /// The values, read into their types.
  Settings settings() const;

 private:
  std::string assign(std::string_view name, std::string_view value, bool fromFile);

  mutable std::mutex mMutex;
  std::map<std::string, std::string, std::less<>> mValues;  ///< as they were set
  Settings mSettings;                                       ///< what they come to
};

/// The file to read: the environment's SLP_CONF, else /etc/slp.conf; nothing when that is not there. A program that
/// runs with raised privileges (set-user-ID) does not look at the environment.
std::optional<std::string> configurationFile();

}  // namespace slp::config
