#include "host/config/ConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <optional>
#include <system_error>

#include <toml++/toml.h>

#include "host/config/SettingKeys.h"

namespace host {
namespace {

constexpr std::streamsize kMaxFileBytes = 1024 * 1024;
constexpr std::size_t kLineLength = 116;

std::optional<std::vector<std::string>> toTexts(const toml::array& array) {
  std::vector<std::string> texts;
  for (const toml::node& element : array) {
    const auto* text = element.as_string();
    if (text == nullptr) return std::nullopt;
    texts.push_back(text->get());
  }
  return texts;
}

std::optional<ConfigValue> toValue(const toml::node& node) {
  if (const auto* number = node.as_integer()) return ConfigValue(number->get());
  if (const auto* flag = node.as_boolean()) return ConfigValue(flag->get());
  if (const auto* text = node.as_string()) return ConfigValue(text->get());
  if (const auto* array = node.as_array()) {
    if (auto texts = toTexts(*array)) return ConfigValue(std::move(*texts));
  }
  return std::nullopt;
}

/// Walks a document and gathers settings and mistakes.
class Walk {
 public:
  explicit Walk(const std::string& file) : mFile(file) {}

  void document(const toml::table& table) {
    for (const auto& [key, node] : table) {
      section(std::string(key.str()), key.source().begin.line, node);
    }
  }

  Result<Settings> result() && {
    if (mMistakes.empty()) return std::move(mSettings);
    return Failure{std::move(mMistakes)};
  }

 private:
  void section(const std::string& name, toml::source_index line, const toml::node& node) {
    const std::string known = knownKeys(name);
    const auto* table = node.as_table();
    if (known.empty()) {
      mistake(line, name, "unknown; there are the sections " + knownSections());
    } else if (table == nullptr) {
      mistake(line, name, "is a section: write [" + name + "]");
    } else {
      for (const auto& [key, value] : *table) {
        setting(name, std::string(key.str()), key.source().begin.line, value);
      }
    }
  }

  void setting(const std::string& section, const std::string& name, toml::source_index line, const toml::node& node) {
    const std::string full = section + "." + name;
    const SettingKey* key = findSettingKey(section, name);
    if (key == nullptr) return mistake(line, full, "unknown; [" + section + "] has " + knownKeys(section));
    const auto value = toValue(node);
    if (!value) return mistake(line, full, "takes a number, a text, true or false, or a list of texts");
    if (const auto problem = key->set(mSettings, *value)) mistake(line, full, *problem);
  }

  void mistake(toml::source_index line, const std::string& key, const std::string& text) {
    if (!mMistakes.empty()) mMistakes += '\n';
    mMistakes += mFile + ":" + std::to_string(line) + ": " + key + ": " + text;
  }

  const std::string& mFile;
  Settings mSettings;
  std::string mMistakes;
};

void appendComment(std::string& output, std::string_view text) {
  while (!text.empty()) {
    std::string_view line = text.substr(0, kLineLength);
    if (line.size() < text.size()) line = line.substr(0, line.rfind(' '));
    output += "# ";
    output += line;
    output += '\n';
    text.remove_prefix(std::min(text.size(), line.size() + 1));
  }
}

}  // namespace

Result<Settings> readConfig(std::string_view text, const std::string& file) {
  try {
    const toml::table document = toml::parse(text, file);
    Walk walk(file);
    walk.document(document);
    return std::move(walk).result();
  } catch (const toml::parse_error& error) {
    return Failure{file + ":" + std::to_string(error.source().begin.line) + ": " + std::string(error.description())};
  }
}

Result<Settings> loadConfig(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return Failure{path + ": cannot be opened: " + std::generic_category().message(errno)};
  std::string text(static_cast<std::size_t>(kMaxFileBytes) + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad() || (file.fail() && !file.eof())) return Failure{path + ": cannot be read"};
  if (file.gcount() > kMaxFileBytes) return Failure{path + ": is larger than 1 MiB, so it is no configuration"};
  text.resize(static_cast<std::size_t>(file.gcount()));
  return readConfig(text, path);
}

std::string dumpConfig(const Settings& settings) {
  std::string output;
  std::string_view section;
  for (const SettingKey& key : settingKeys()) {
    if (key.section != section) output += (section.empty() ? "[" : "\n[") + key.section + "]\n";
    section = key.section;
    output += '\n';
    appendComment(output, key.meaning);
    output += key.name + " = " + key.show(settings) + "\n";
  }
  return output;
}

}  // namespace host
