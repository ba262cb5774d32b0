#include "cli/UserFiles.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "json/reader.h"
#include "json/writer.h"
#include "state/Directory.h"

namespace cli {
namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

Failure unusable(const std::exception& error) {
  return {ExitCode::kRefused, error.what()};
}

Result<json::Object> documentOf(const state::Directory& directory, const std::string& name) {
  json::Object document;
  const auto content = directory.read(name);
  if (!content) return document;
  try {
    json::Reader::Read(document, *content);
  } catch (const json::Exception& error) {
    return Failure{ExitCode::kRefused, directory.pathOf(name) + " is damaged, mend it or remove it: " + error.what()};
  }
  return document;
}

}  // namespace

std::string UserFiles::defaultDirectory() {
  const std::string given = environment("XDG_CONFIG_HOME");
  if (!given.empty()) return given + "/kvtctl";
  const std::string home = environment("HOME");
  return home.empty() ? "" : home + "/.config/kvtctl";
}

Result<json::Object> UserFiles::read(const std::string& name) const {
  std::error_code error;
  if (mDirectory.empty() || !std::filesystem::exists(mDirectory, error)) return json::Object();
  try {
    return documentOf(state::Directory(mDirectory), name);
  } catch (const std::system_error& refused) {
    return unusable(refused);
  }
}

std::optional<Failure> UserFiles::change(const std::string& name,
                                         const std::function<void(json::Object&)>& edit) const {
  if (mDirectory.empty()) return Failure{ExitCode::kRefused, "there is no place to keep it: set HOME"};
  try {
    const state::Directory directory(mDirectory);
    const state::Directory::Lock lock(directory);
    const Result<json::Object> document = documentOf(directory, name);
    if (!document) return document.failure();
    json::Object changed = *document;
    edit(changed);
    std::string text;
    json::Writer::Write(changed, text, true);
    directory.write(name, text + "\n");
  } catch (const std::system_error& refused) {
    return unusable(refused);
  }
  return std::nullopt;
}

}  // namespace cli
