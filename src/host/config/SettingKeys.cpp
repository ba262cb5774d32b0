#include "host/config/SettingKeys.h"

#include <algorithm>
#include <array>
#include <utility>

#include "framework/launcher/Preferences.h"
#include "host/config/LogLevel.h"
#include "host/config/SecurityKeys.h"
#include "host/config/SettingValues.h"

namespace host {
namespace {

using launcher::Preferences;

constexpr std::size_t kMaxServerId = 64;
constexpr std::size_t kMaxListeners = 16;

// ---- [server], [network], [log]

Problem setListen(Settings& settings, const ConfigValue& value) {
  std::vector<std::string> texts;
  if (const auto* one = std::get_if<std::string>(&value)) {
    texts.push_back(*one);
  } else if (const auto* list = std::get_if<std::vector<std::string>>(&value)) {
    texts = *list;
  } else {
    return "takes an address and port, such as \"[::]:8443\", or a list of them";
  }
  if (texts.size() > kMaxListeners) return "takes at most " + std::to_string(kMaxListeners) + " addresses";
  std::vector<ListenAddress> listen;
  for (const std::string& text : texts) {
    auto address = parseListenAddress(text);
    if (!address) return address.error();
    listen.push_back(*address);
  }
  settings.listen = std::move(listen);
  return std::nullopt;
}

std::string showListen(const Settings& settings) {
  std::vector<std::string> texts;
  for (const ListenAddress& listen : settings.listen) {
    texts.push_back(toString(listen));
  }
  return quotedList(texts);
}

bool isServerId(std::string_view text) {
  return text.size() <= kMaxServerId && std::all_of(text.begin(), text.end(), [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
         });
}

Problem setServerId(Settings& settings, const ConfigValue& value) {
  std::string text;
  if (auto problem = takeText(value, text)) return problem;
  if (!isServerId(text)) return quoted(text) + " is no identifier: up to 64 of a-z, 0-9, \".\", \"_\" and \"-\"";
  settings.localServerId = text;
  return std::nullopt;
}

Problem setLogLevel(Settings& settings, const ConfigValue& value) {
  std::string text;
  if (const auto* number = std::get_if<std::int64_t>(&value)) {
    text = std::to_string(*number);
  } else if (auto problem = takeText(value, text)) {
    return problem;
  }
  const auto mask = parseLogLevel(text);
  if (!mask) return mask.error();
  settings.logMask = *mask;
  return std::nullopt;
}

SettingKey textKey(std::string section, std::string name, std::string meaning, std::string Settings::*member) {
  return {std::move(section), std::move(name), std::move(meaning),
          [member](Settings& settings, const ConfigValue& value) { return takeText(value, settings.*member); },
          [member](const Settings& settings) { return quoted(settings.*member); }};
}

SettingKey listKey(std::string section, std::string name, std::string meaning,
                   std::vector<std::string> Settings::*member) {
  return {std::move(section), std::move(name), std::move(meaning),
          [member](Settings& settings, const ConfigValue& value) { return takeList(value, settings.*member); },
          [member](const Settings& settings) { return quotedList(settings.*member); }};
}

void addPlainKeys(std::vector<SettingKey>& keys) {
  keys.push_back({"server", "listen",
                  "Addresses and ports to listen on, such as \"[::]:8443\", \"192.0.2.1:8443\" or \"*:8443\"; port 0 "
                  "is any free one. Default: every address, at the port that the preference listening_port names. What "
                  "is bound in the end becomes the value of listening_port. At most 16.",
                  setListen, showListen});
  keys.push_back(textKey("server", "plugin_dir",
                         "Directory whose lib*.so are loaded as plug-ins, in the order of their names. Default \"\": "
                         "lib/kvt-server beside the program's bin.",
                         &Settings::pluginDirectory));
  keys.push_back({"server", "local_server_id",
                  "This server's identifier among its peers: up to 64 of a-z, 0-9, \".\", \"_\" and \"-\". It must be "
                  "unique. Default \"\": the host name, lower-cased, with \"-\" for every other character.",
                  setServerId, [](const Settings& settings) { return quoted(settings.localServerId); }});
  keys.push_back(textKey("server", "state_dir",
                         "Directory for what the server keeps: certificate, accounts, certificates of others. Default "
                         "\"\": what systemd gives the service, else /var/lib/kvt-server for root and "
                         "~/.local/state/kvt-server for everybody else.",
                         &Settings::stateDirectory));
  keys.push_back(listKey("network", "include_interfaces",
                         "Names or shell patterns of the network interfaces whose addresses are told to peers. Default "
                         "[]: all but the excluded ones.",
                         &Settings::includeInterfaces));
  keys.push_back(
      listKey("network", "exclude_interfaces",
              "Names or shell patterns of interfaces to leave out. Default: those that exist alike on many machines, "
              "because two servers that share an address take each other for themselves.",
              &Settings::excludeInterfaces));
  keys.push_back({"log", "level",
                  "What is logged: \"error\", \"warning\", \"info\", \"detail\" or \"trace\", each including those "
                  "before it, or a mask of levels from 0 to 255. SIGHUP reads it anew. Default \"warning\".",
                  setLogLevel, [](const Settings& settings) { return quoted(logLevelName(settings.logMask)); }});
  keys.push_back(textKey("log", "file",
                         "File to append the log to, beside the console. At 10 MiB it is kept under a number, up to "
                         "five of them. SIGHUP reads it anew, and opens the file anew. Default \"\": none.",
                         &Settings::logFile));
  keys.push_back({"log", "journal",
                  "Whether the log goes to systemd's journal, in place of the console. Default false.",
                  [](Settings& settings, const ConfigValue& value) { return takeFlag(value, settings.logToJournal); },
                  [](const Settings& settings) { return flagText(settings.logToJournal); }});
}

// ---- [limits]

struct LimitKey {
  const char* name;
  std::variant<unsigned int Limits::*, std::chrono::milliseconds Limits::*> member;
  std::uint32_t minimum;
  std::uint32_t maximum;
  const char* meaning;
};

constexpr std::uint32_t kHour = 3'600'000;

const std::array kLimitKeys{
    LimitKey{"connections", &Limits::connections, 1, 65'536,
             "Connections at a time. When there are as many, the one that has waited longest for its client (for a "
             "handshake, a request, or its end) gives way to a new one; when none waits, the new one is answered 503 "
             "and closed. Up to a quarter of them may follow the server live. Each may hold one body in memory, and "
             "over TLS some 70 KiB beside it. The server takes fewer where the system lets it open too few files."},
    LimitKey{"header_bytes", &Limits::headerBytes, 1'024, 65'536, "Bytes of a request's header; more is answered 431."},
    LimitKey{"body_bytes", &Limits::bodyBytes, 1'024, 67'108'864, "Bytes of a request's body; more is answered 413."},
    LimitKey{"idle_timeout", &Limits::idleTimeout, 100, kHour,
             "How long a connection may stay without a request before it is closed."},
    LimitKey{"header_timeout", &Limits::headerTimeout, 100, kHour,
             "How long a request's header may take from its first byte to its last."},
    LimitKey{"request_timeout", &Limits::requestTimeout, 100, kHour,
             "How long a request may take from its header to its answer; then it is answered 408 while its body is "
             "missing, else 504."},
    LimitKey{"write_timeout", &Limits::writeTimeout, 100, kHour, "How long a client may take to receive an answer."},
    LimitKey{"prompt_threads", &Limits::promptThreads, 1, 64,
             "Threads for the server's own details and its health, which peers wait for."},
    LimitKey{"prompt_backlog", &Limits::promptBacklog, 1, 65'536, "Such requests that may wait; more is answered 503."},
    LimitKey{"read_threads", &Limits::readThreads, 1, 64, "Threads for GET requests of plug-ins."},
    LimitKey{"read_backlog", &Limits::readBacklog, 1, 65'536, "Such requests that may wait; more is answered 503."},
    LimitKey{"action_threads", &Limits::actionThreads, 1, 64,
             "Threads for requests that change or search something. A search may take seconds: this many run at once."},
    LimitKey{"action_backlog", &Limits::actionBacklog, 1, 65'536, "Such requests that may wait; more is answered 503."},
};

bool isInterval(const LimitKey& key) {
  return std::holds_alternative<std::chrono::milliseconds Limits::*>(key.member);
}

std::uint32_t valueOf(const LimitKey& key, const Limits& limits) {
  if (const auto* count = std::get_if<unsigned int Limits::*>(&key.member)) return limits.**count;
  return static_cast<std::uint32_t>((limits.*std::get<std::chrono::milliseconds Limits::*>(key.member)).count());
}

void assign(const LimitKey& key, Limits& limits, std::uint32_t value) {
  if (const auto* count = std::get_if<unsigned int Limits::*>(&key.member)) {
    limits.** count = value;
  } else {
    limits.*std::get<std::chrono::milliseconds Limits::*>(key.member) = std::chrono::milliseconds(value);
  }
}

Problem setLimit(const LimitKey& key, Settings& settings, const ConfigValue& value) {
  std::int64_t number = 0;
  auto problem = isInterval(key) ? takeInterval(value, key.minimum, key.maximum, number)
                                 : takeNumber(value, key.minimum, key.maximum, number);
  if (!problem) assign(key, settings.limits, static_cast<std::uint32_t>(number));
  return problem;
}

void addLimitKeys(std::vector<SettingKey>& keys) {
  for (const LimitKey& key : kLimitKeys) {
    const std::string unit = isInterval(key) ? " Milliseconds, or a text such as \"30s\"." : "";
    keys.push_back({"limits", key.name,
                    key.meaning + unit + " Default " + std::to_string(valueOf(key, Limits())) + ", range " +
                        std::to_string(key.minimum) + " to " + std::to_string(key.maximum) + ".",
                    [&key](Settings& settings, const ConfigValue& value) { return setLimit(key, settings, value); },
                    [&key](const Settings& settings) { return std::to_string(valueOf(key, settings.limits)); }});
  }
}

// ---- [preferences]

std::string documentation(const Preferences::Setting& setting) {
  std::string text(setting.meaning);
  if (!text.ends_with('.')) text += '.';
  if (setting.kind == Preferences::Setting::kText) return text + " Default " + quoted(setting.defaultValue) + ".";
  return text + " Default " + std::string(setting.defaultValue) + ", range " + std::to_string(setting.minimum) +
         " to " + std::to_string(setting.maximum) + ".";
}

Problem setPreference(const Preferences::Setting& setting, Settings& settings, const ConfigValue& value) {
  std::string text;
  if (const auto* number = std::get_if<std::int64_t>(&value)) {
    text = std::to_string(*number);
  } else if (const auto* flag = std::get_if<bool>(&value)) {
    text = *flag ? "1" : "0";
  } else if (const auto* given = std::get_if<std::string>(&value)) {
    text = *given;
  } else {
    return "takes one value";
  }
  Preferences scratch;
  if (auto problem = scratch.set(setting.name, text)) return problem;
  settings.preferences.insert_or_assign(std::string(setting.name), scratch.get(setting.name));
  return std::nullopt;
}

std::string showPreference(const Preferences::Setting& setting, const Settings& settings) {
  const auto set = settings.preferences.find(setting.name);
  const std::string text = set == settings.preferences.end() ? std::string(setting.defaultValue) : set->second;
  const bool bare = setting.kind != Preferences::Setting::kText && !text.empty() &&
                    std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  return bare ? text : quoted(text);
}

void addPreferenceKeys(std::vector<SettingKey>& keys) {
  for (const Preferences::Setting& setting : Preferences::settings()) {
    keys.push_back(
        {"preferences", std::string(setting.name), documentation(setting),
         [&setting](Settings& settings, const ConfigValue& value) { return setPreference(setting, settings, value); },
         [&setting](const Settings& settings) { return showPreference(setting, settings); }});
  }
}

std::vector<SettingKey> makeKeys() {
  std::vector<SettingKey> keys;
  addPlainKeys(keys);
  addSecurityKeys(keys);
  addLimitKeys(keys);
  addPreferenceKeys(keys);
  return keys;
}

}  // namespace

const std::vector<SettingKey>& settingKeys() {
  static const std::vector<SettingKey> keys = makeKeys();
  return keys;
}

const SettingKey* findSettingKey(std::string_view section, std::string_view name) {
  const auto& keys = settingKeys();
  const auto key = std::find_if(keys.begin(), keys.end(),
                                [&](const SettingKey& each) { return each.section == section && each.name == name; });
  return key == keys.end() ? nullptr : &*key;
}

std::string knownKeys(std::string_view section) {
  std::string names;
  for (const SettingKey& key : settingKeys()) {
    if (key.section == section) names += (names.empty() ? "" : ", ") + key.name;
  }
  return names;
}

std::string knownSections() {
  std::string names;
  std::string_view last;
  for (const SettingKey& key : settingKeys()) {
    if (key.section != last) names += (names.empty() ? "" : ", ") + key.section;
    last = key.section;
  }
  return names;
}

}  // namespace host
