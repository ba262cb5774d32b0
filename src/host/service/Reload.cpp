#include "host/service/Reload.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "framework/utils/Log.h"
#include "host/config/SettingKeys.h"

namespace host {
namespace {

Result<Reload::Commit> prepareGuarded(const Reload::Prepare& prepare, const Settings& settings) {
  try {
    return prepare(settings);
  } catch (const std::exception& error) {
    return Failure{error.what()};
  }
}

}  // namespace

Reload::Reload(Settings started) : mStarted(std::move(started)) {}

void Reload::add(std::vector<std::string> keys, Prepare prepare) {
  mParts.push_back({std::move(keys), std::move(prepare)});
}

Result<std::vector<std::string>> Reload::apply(const Settings& settings) {
  std::vector<Commit> commits;
  for (const Part& part : mParts) {
    auto commit = prepareGuarded(part.prepare, settings);
    if (!commit) return Failure{commit.error()};
    commits.push_back(std::move(*commit));
  }
  auto left = leftForNextStart(settings);
  for (const Commit& commit : commits) {
    commit();
  }
  return left;
}

std::vector<std::string> Reload::leftForNextStart(const Settings& settings) const {
  std::vector<std::string> left;
  for (const SettingKey& key : settingKeys()) {
    if (isTakenOn(key.section, key.name) || key.show(mStarted) == key.show(settings)) continue;
    left.push_back(key.section + "." + key.name);
  }
  return left;
}

bool Reload::isTakenOn(const std::string& section, const std::string& name) const {
  return std::any_of(mParts.begin(), mParts.end(), [&](const Part& part) {
    return std::any_of(part.keys.begin(), part.keys.end(),
                       [&](const std::string& key) { return key == section || key == section + "." + name; });
  });
}

void addLogTo(Reload& reload) {
  reload.add({"log.level", "log.file"}, [](const Settings& settings) -> Result<Reload::Commit> {
    auto putInPlace = utils::logging::openFile(settings.logFile);
    if (!putInPlace) return Failure{"the log file " + settings.logFile + " cannot be opened for writing"};
    return Reload::Commit([putInPlace = std::move(*putInPlace), mask = settings.logMask] {
      putInPlace();
      utils::logging::setMask(mask);
    });
  });
}

}  // namespace host
