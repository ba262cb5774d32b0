#include "host/config/SettingValues.h"

#include "framework/launcher/Preferences.h"

namespace host {

std::string quoted(std::string_view text) {
  static constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (byte < 0x20 || byte == 0x7F) {
      result += "\\u00";
      result += kHex[byte >> 4];
      result += kHex[byte & 0xF];
    } else {
      result += c;
    }
  }
  return result + "\"";
}

std::string quotedList(const std::vector<std::string>& texts) {
  std::string result = "[";
  for (const std::string& text : texts) {
    result += (result.size() > 1 ? ", " : "") + quoted(text);
  }
  return result + "]";
}

std::string flagText(bool flag) {
  return flag ? "true" : "false";
}

Problem takeText(const ConfigValue& value, std::string& target) {
  const auto* text = std::get_if<std::string>(&value);
  if (text == nullptr) return "takes a text in quotes";
  target = *text;
  return std::nullopt;
}

Problem takeFlag(const ConfigValue& value, bool& target) {
  const auto* flag = std::get_if<bool>(&value);
  const auto* text = std::get_if<std::string>(&value);
  if (flag == nullptr && (text == nullptr || (*text != "true" && *text != "false"))) return "takes true or false";
  target = flag != nullptr ? *flag : *text == "true";
  return std::nullopt;
}

Problem takeList(const ConfigValue& value, std::vector<std::string>& target) {
  const auto* list = std::get_if<std::vector<std::string>>(&value);
  if (list == nullptr) return "takes a list of texts, such as [\"eth*\"]";
  target = *list;
  return std::nullopt;
}

Problem takeNumber(const ConfigValue& value, std::int64_t minimum, std::int64_t maximum, std::int64_t& target) {
  const auto* number = std::get_if<std::int64_t>(&value);
  if (number == nullptr) return "takes a number";
  if (*number < minimum || *number > maximum) {
    return std::to_string(*number) + " is not between " + std::to_string(minimum) + " and " + std::to_string(maximum);
  }
  target = *number;
  return std::nullopt;
}

Problem takeInterval(const ConfigValue& value, std::int64_t minimum, std::int64_t maximum, std::int64_t& target) {
  if (const auto* text = std::get_if<std::string>(&value)) {
    const auto interval = launcher::parseMilliseconds(*text);
    if (!interval) return quoted(*text) + " is no interval: write milliseconds, \"1500ms\", \"30s\" or \"5m\"";
    return takeNumber(static_cast<std::int64_t>(*interval), minimum, maximum, target);
  }
  if (!std::holds_alternative<std::int64_t>(value)) return "takes milliseconds, or a text such as \"30s\"";
  return takeNumber(value, minimum, maximum, target);
}

}  // namespace host
