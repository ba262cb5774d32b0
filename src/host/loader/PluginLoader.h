#pragma once

#include <memory>
#include <string>
#include <vector>

namespace launcher {
class PluginManager;
class Preferences;
}  // namespace launcher

namespace host {

/// What there is to tell of a loaded plug-in.
struct PluginInfo {
  std::string file;  ///< without its directory
  std::string name;
  std::string version;
  unsigned int id = 0;
};

/// Loads plug-in libraries, starts and stops them, and unloads them. Whatever is wrong with one costs that one alone:
/// it is logged with what to do about it, and left out. Every operation is called by one thread, while requests may run
/// in others.
class PluginLoader {
 public:
  /// Both must outlive the loader.
  PluginLoader(launcher::PluginManager& manager, launcher::Preferences& preferences);
  /// Shuts down and unloads.
  ~PluginLoader();
  PluginLoader(const PluginLoader&) = delete;
  PluginLoader& operator=(const PluginLoader&) = delete;

  /// Loads every lib*.so of a directory, in the order of their names, but for what the process holds already. False
  /// when the directory cannot be read.
  bool loadDirectory(const std::string& directory);
  /// False when the library was left out.
  bool load(const std::string& file);

  /// Starts what is loaded, in load order: the first proxy of each library is told. One that throws is unloaded.
  void startAll();
  /// Shuts down what was started, in reverse.
  void shutdownAll();
  /// Takes the plug-ins' resources out, waits for the requests in them, and unloads the libraries, in reverse.
  void unloadAll();

  std::vector<PluginInfo> plugins() const;

 private:
  struct Plugin;
  using PluginPtr = std::unique_ptr<Plugin>;

  std::string start(Plugin& plugin);
  void unload(PluginPtr plugin);

  launcher::PluginManager& mManager;
  launcher::Preferences& mPreferences;
  std::vector<PluginPtr> mPlugins;
};

}  // namespace host
