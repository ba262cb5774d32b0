#include "host/loader/PluginLoader.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "framework/http/RestApi.h"
#include "framework/launcher/PluginManager.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "framework/utils/Log.h"
#include "host/loader/Library.h"

namespace host {
namespace {

using plugins::BasePluginProxy;
namespace fs = std::filesystem;

constexpr const char* kIdSymbol = "getID";
constexpr const char* kApisSymbol = "getRegisteredRestApis";
using IdFunction = unsigned int (*)();

void warn(const std::string& file, const std::string& what, const char* advice) {
  utils::formatted_log_t(utils::LOG_FAILURE, "PluginLoader:%1% %2%. %3%") % file % what % advice;
}

std::set<http::RestApi> registeredApis() {
  std::set<http::RestApi> apis;
  for (const auto& [api, proxy] : plugins::BasePlugin::getRegisteredRestApis()) {
    apis.insert(api);
  }
  return apis;
}

/// The proxies of the resources that were not there before, each once.
std::vector<BasePluginProxy*> proxiesSince(const std::set<http::RestApi>& before) {
  std::vector<BasePluginProxy*> proxies;
  for (const auto& [api, proxy] : plugins::BasePlugin::getRegisteredRestApis()) {
    const bool known = before.contains(api) || std::find(proxies.begin(), proxies.end(), proxy) != proxies.end();
    if (!known) proxies.push_back(proxy);
  }
  return proxies;
}

/// The proxy of the resource that stands first in the plug-in's own list: the one that is told of start and end.
BasePluginProxy* firstOf(const std::vector<BasePluginProxy*>& proxies) {
  const auto& registry = plugins::BasePlugin::getRegisteredRestApis();
  for (const http::RestApi& api : proxies.front()->getSupportedRestApis()) {
    const auto entry = registry.find(api);
    const bool own =
        entry != registry.end() && std::find(proxies.begin(), proxies.end(), entry->second) != proxies.end();
    if (own) return entry->second;
  }
  return proxies.front();
}

/// Runs what a plug-in has written. The result is what went wrong, "" for nothing; by then nothing of the plug-in's,
/// its exception included, is left.
template <typename Call>
std::string guarded(Call call) {
  try {
    call();
    return "";
  } catch (const std::exception& error) {
    return std::string("threw: ") + error.what();
  } catch (...) {
    return "threw what is no std::exception";
  }
}

bool isPluginFile(const fs::directory_entry& entry) {
  const std::string name = entry.path().filename().string();
  std::error_code ignored;
  return name.starts_with("lib") && name.ends_with(".so") && !entry.is_directory(ignored);
}

}  // namespace

struct PluginLoader::Plugin {
  std::string file;
  Library library;
  PluginInfo info;
  std::vector<BasePluginProxy*> proxies;
  BasePluginProxy* first = nullptr;
  plugins::PluginLoadOrder_ order = plugins::LOAD_ORDER_DEFAULT;
  bool started = false;

  /// Reads what the library tells of itself.
  void introduce() {
    first = firstOf(proxies);
    order = first->getPluginLoadOrder();
    info = {fs::path(file).filename().string(), first->getPluginName(), first->getPluginVersion(),
            reinterpret_cast<IdFunction>(library.symbol(kIdSymbol))()};
  }
};

PluginLoader::PluginLoader(launcher::PluginManager& manager, launcher::Preferences& preferences)
    : mManager(manager), mPreferences(preferences) {}

PluginLoader::~PluginLoader() {
  shutdownAll();
  unloadAll();
}

bool PluginLoader::loadDirectory(const std::string& directory) {
  std::error_code error;
  std::vector<std::string> files;
  for (auto entry = fs::directory_iterator(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (isPluginFile(*entry)) files.push_back(entry->path().string());
  }
  if (error) {
    warn(directory, "cannot be read: " + error.message(),
         "The server goes on without plug-ins. Check the directory's name and permissions, or name another one with "
         "--plugin-dir or the key server.plugin_dir.");
    return false;
  }
  std::sort(files.begin(), files.end());
  for (const std::string& file : files) {
    if (!Library::isLoaded(file)) load(file);
  }
  return true;
}

bool PluginLoader::load(const std::string& file) {
  const auto before = registeredApis();
  auto library = Library::open(file);
  if (!library) {
    warn(file, "was not loaded: " + library.error(),
         "The server goes on without it. Check that it is a library for this machine and that everything it needs is "
         "installed (ldd lists that); remove it when it is no plug-in.");
    return false;
  }
  auto plugin = std::make_unique<Plugin>(Plugin{file, std::move(*library), {}, proxiesSince(before)});
  const bool exports = plugin->library.symbol(kIdSymbol) != nullptr && plugin->library.symbol(kApisSymbol) != nullptr;
  std::string problem;
  if (!exports) {
    warn(file, std::string("was unloaded: it does not export ") + kIdSymbol + " and " + kApisSymbol,
         "The server goes on without it. It is no plug-in, or one that was built incompletely: remove or rebuild it.");
  } else if (plugin->proxies.empty()) {
    warn(file, "was unloaded: it registered no resource",
         "The server goes on without it. Mostly it requires another version of the plug-in manager, and a record "
         "before this one says which: install versions that belong together. Otherwise another plug-in serves its "
         "resources already.");
  } else if (problem = guarded([&] { plugin->introduce(); }); !problem.empty()) {
    warn(file, "was unloaded: it " + problem, "The server goes on without it. Report this to the plug-in's maker.");
  } else {
    mPlugins.push_back(std::move(plugin));
    return true;
  }
  unload(std::move(plugin));
  return false;
}

void PluginLoader::startAll() {
  std::stable_sort(mPlugins.begin(), mPlugins.end(),
                   [](const PluginPtr& left, const PluginPtr& right) { return left->order < right->order; });
  std::vector<PluginPtr> started;
  for (PluginPtr& plugin : mPlugins) {
    const std::string problem = plugin->started ? "" : start(*plugin);
    if (problem.empty()) {
      started.push_back(std::move(plugin));
      continue;
    }
    warn(plugin->file, "was unloaded: its start " + problem,
         "The server goes on without it. The text says what it missed; correct that and start the server again.");
    unload(std::move(plugin));
  }
  mPlugins = std::move(started);
}

std::string PluginLoader::start(Plugin& plugin) {
  const std::string problem = guarded([&] { plugin.first->startup(&mPreferences, &mManager); });
  plugin.started = problem.empty();
  return problem;
}

void PluginLoader::shutdownAll() {
  for (auto plugin = mPlugins.rbegin(); plugin != mPlugins.rend(); ++plugin) {
    if (!std::exchange((*plugin)->started, false)) continue;
    const std::string problem = guarded([&] { (*plugin)->first->shutdown(); });
    if (problem.empty()) continue;
    warn((*plugin)->file, "did not end in order: its shutdown " + problem,
         "It is unloaded all the same. Peers may see this server for a while yet; report this to the plug-in's maker.");
  }
}

void PluginLoader::unloadAll() {
  while (!mPlugins.empty()) {
    PluginPtr plugin = std::move(mPlugins.back());
    mPlugins.pop_back();
    unload(std::move(plugin));
  }
}

void PluginLoader::unload(PluginPtr plugin) {
  const std::string file = plugin->file;
  mManager.unregister(plugin->proxies);
  plugin.reset();
  if (!Library::isLoaded(file)) return;
  warn(file, "stays in memory although it was unloaded",
       "Nothing has to be done, but it cannot be loaded anew before the server is started again. Something in it pins "
       "it, such as a symbol that is unique in the process: report this to the plug-in's maker.");
}

std::vector<PluginInfo> PluginLoader::plugins() const {
  std::vector<PluginInfo> infos;
  for (const PluginPtr& plugin : mPlugins) {
    infos.push_back(plugin->info);
  }
  return infos;
}

}  // namespace host
