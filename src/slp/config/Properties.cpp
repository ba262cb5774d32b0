#include "slp/config/Properties.h"

#include "slp/config/ConfigurationFile.h"
#include "slp/config/PropertyValues.h"

namespace slp::config {

std::optional<std::string> Properties::get(std::string_view name) const {
  const std::lock_guard lock(mMutex);
  if (const auto set = mValues.find(name); set != mValues.end()) return set->second;
  if (const auto* const property = findProperty(name)) return std::string(property->defaultValue);
  return std::nullopt;
}

bool Properties::set(std::string_view name, std::string_view value, std::string* reason) {
  std::string problem = assign(name, value, false);
  const bool done = problem.empty();
  if (reason != nullptr) *reason = std::move(problem);
  return done;
}

std::string Properties::assign(std::string_view name, std::string_view value, bool fromFile) {
  if (name.empty()) return "a property needs a name";
  value = trimmed(value);
  const auto* const property = findProperty(name);
  if (property != nullptr && property->readOnly && !fromFile) return "only the configuration file sets it";
  const std::lock_guard lock(mMutex);
  if (property != nullptr)
    if (auto problem = property->read(value, mSettings); !problem.empty()) return problem;
  mValues.insert_or_assign(std::string(name), std::string(value));
  return {};
}

std::vector<std::string> Properties::readFile(const std::string& path) {
  std::vector<std::string> problems;
  std::string text;
  if (auto problem = readText(path, text); !problem.empty()) {
    problems.push_back(path + ": " + problem);
    return problems;
  }
  for (const auto& line : linesOf(text)) {
    const auto report = [&](const std::string& what) {
      problems.push_back(path + ":" + std::to_string(line.number) + ": " + what);
    };
    if (!line.name) {
      report("not of the form name = value");
    } else if (auto problem = assign(*line.name, line.value, true); !problem.empty()) {
      report(*line.name + ": " + problem);
    } else if (findProperty(*line.name) == nullptr) {
      report(*line.name + " is not known and has no effect");
    }
  }
  return problems;
}

Settings Properties::settings() const {
  const std::lock_guard lock(mMutex);
  return mSettings;
}

}  // namespace slp::config
