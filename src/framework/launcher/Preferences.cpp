#include "framework/launcher/Preferences.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace launcher {
namespace {

using Setting = Preferences::Setting;

constexpr std::string_view kUriPrefix = "uri_prefix";
constexpr std::uint32_t kAnyNumber = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kShortestInterval = 10;
constexpr std::uint32_t kLongestInterval = 7u * 24 * 3'600'000;
constexpr std::uint32_t kLongestText = 1024;

std::optional<std::uint32_t> parseNumber(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<std::uint32_t> parseFlag(std::string_view text) {
  if (text == "1" || text == "true" || text == "on" || text == "yes") return 1;
  if (text == "0" || text == "false" || text == "off" || text == "no") return 0;
  return std::nullopt;
}

bool isPrintable(std::string_view text) {
  return std::none_of(text.begin(), text.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

std::string quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

std::string expected(const Setting& setting) {
  const std::string range = std::to_string(setting.minimum) + " to " + std::to_string(setting.maximum);
  switch (setting.kind) {
    case Setting::kNumber:
      return "a number from " + range;
    case Setting::kMilliseconds:
      return "milliseconds from " + range + ", or an interval such as \"30s\" or \"5m\"";
    case Setting::kFlag:
      return "0 or 1, or true or false";
    case Setting::kText:
      return "at most " + std::to_string(setting.maximum) + " bytes without control characters";
  }
  return "";
}

/// What is put behind the prefix begins with a slash of its own.
std::string withoutTrailingSlashes(std::string_view text) {
  while (text.ends_with('/'))
    text.remove_suffix(1);
  return std::string(text);
}

/// The value as it is kept; nothing when it is not one of this setting.
std::optional<std::string> normalised(const Setting& setting, std::string_view value) {
  std::optional<std::uint32_t> number;
  switch (setting.kind) {
    case Setting::kText:
      if (value.size() > setting.maximum || !isPrintable(value)) return std::nullopt;
      return setting.name == kUriPrefix ? withoutTrailingSlashes(value) : std::string(value);
    case Setting::kNumber:
      number = parseNumber(value);
      break;
    case Setting::kMilliseconds:
      number = parseMilliseconds(value);
      break;
    case Setting::kFlag:
      number = parseFlag(value);
      break;
  }
  if (!number || *number < setting.minimum || *number > setting.maximum) return std::nullopt;
  return std::to_string(*number);
}

/// The place of a setting in the table; its size when there is none of that name.
std::size_t indexOf(std::string_view name) {
  const auto& settings = Preferences::settings();
  const auto found = std::find_if(settings.begin(), settings.end(), [&](const Setting& s) { return s.name == name; });
  return static_cast<std::size_t>(found - settings.begin());
}

std::vector<std::string> defaults() {
  std::vector<std::string> values;
  for (const auto& setting : Preferences::settings())
    values.emplace_back(setting.defaultValue);
  return values;
}

}  // namespace

const std::vector<Setting>& Preferences::settings() {
  static const auto* const settings = new std::vector<Setting>{
      {"listening_port", Setting::kNumber, "8443", 0, 65535, "TCP port that this server is reached at; 0: a free one"},
      {kUriPrefix, Setting::kText, "", 0, kLongestText, "what the URIs of this server's resources begin with"},
      {"nat_details", Setting::kText, "", 0, kLongestText,
       "addresses under which others see this server behind a NAT, separated by commas"},
      {"installation_type", Setting::kNumber, "0", 0, kAnyNumber,
       "kind of installation; 0 looks for other servers and listens to their announcements"},
      {"installation_oem_type", Setting::kNumber, "0", 0, kAnyNumber,
       "variant of the installation; 3 does not register this server"},
      {"ip_change_polling_interval", Setting::kMilliseconds, "10000", kShortestInterval, kLongestInterval,
       "milliseconds between two looks at this server's own details; each costs one request inside the process"},
      {"slp_find_service_interval", Setting::kMilliseconds, "30000", kShortestInterval, kLongestInterval,
       "milliseconds between two discovery passes; each costs multicast requests and one look-up per server"},
      {"slp_find_service_strictness", Setting::kNumber, "1", 0, 2,
       "what a wrong digest in a server's attributes does: 0 is not checked, 1 is logged, 2 leaves the server out"},
      {"max_processing_threads_count", Setting::kNumber, "16", 1, 256,
       "threads that look at found servers, and the number of look-ups that may wait for them"},
      {"enable_multicast", Setting::kFlag, "1", 0, 1, "1: registrations are announced by multicast; 0: they are not"},
  };
  return *settings;
}

Preferences* Preferences::get_instance() {
  static Preferences* const preferences = new Preferences;  // outlives whatever ends with the process
  return preferences;
}

Preferences::Preferences() : mValues(defaults()) {}

std::string Preferences::get_listening_port() const {
  return get("listening_port");
}
std::string Preferences::get_uri_prefix() const {
  return get(kUriPrefix);
}
std::string Preferences::getNATDetails() const {
  return get("nat_details");
}
unsigned int Preferences::get_installation_oem_type() const {
  return number("installation_oem_type");
}
unsigned int Preferences::getInstallationType() const {
  return number("installation_type");
}
unsigned int Preferences::getIPChangePollingInterval() const {
  return number("ip_change_polling_interval");
}
unsigned int Preferences::get_slp_find_service_interval() const {
  return number("slp_find_service_interval");
}
unsigned int Preferences::get_slp_find_service_strictness() const {
  return number("slp_find_service_strictness");
}
unsigned int Preferences::get_max_processing_threads_count() const {
  return number("max_processing_threads_count");
}
unsigned int Preferences::get_enable_multicast() const {
  return number("enable_multicast");
}

std::optional<std::string> Preferences::set(std::string_view name, std::string_view value) {
  const std::size_t index = indexOf(name);
  if (index == settings().size()) return "there is no setting " + quoted(name);
  const Setting& setting = settings()[index];
  auto kept = normalised(setting, value);
  if (!kept) return "setting " + quoted(name) + " is " + quoted(value) + " but must be " + expected(setting);
  const std::lock_guard lock(mMutex);
  mValues[index] = std::move(*kept);
  return std::nullopt;
}

std::string Preferences::get(std::string_view name) const {
  const std::size_t index = indexOf(name);
  const std::lock_guard lock(mMutex);
  return index < mValues.size() ? mValues[index] : std::string();
}

void Preferences::reset() {
  auto values = defaults();
  const std::lock_guard lock(mMutex);
  mValues.swap(values);
}

unsigned int Preferences::number(std::string_view name) const {
  return parseNumber(get(name)).value_or(0);
}

std::optional<std::uint32_t> parseMilliseconds(std::string_view text) {
  struct Unit {
    std::string_view suffix;
    std::uint64_t milliseconds;
  };
  constexpr Unit kUnits[] = {{"ms", 1}, {"s", 1000}, {"m", 60'000}, {"h", 3'600'000}, {"", 1}};
  for (const auto& unit : kUnits) {
    if (!text.ends_with(unit.suffix)) continue;
    const auto number = parseNumber(text.substr(0, text.size() - unit.suffix.size()));
    if (!number || *number * unit.milliseconds > kAnyNumber) return std::nullopt;
    return static_cast<std::uint32_t>(*number * unit.milliseconds);
  }
  return std::nullopt;
}

}  // namespace launcher
