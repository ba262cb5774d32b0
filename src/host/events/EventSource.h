#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "json/elements.h"

namespace launcher {
class PluginManager;
}

namespace host {

/// What is different among the sightings since a version.
struct SightingChanges {
  std::uint64_t version = 0;
  bool isComplete = true;  ///< false: they must be fetched anew
  bool hasMore = false;    ///< after this version
  std::vector<json::Object> changed;
  std::vector<std::string> removed;  ///< addresses
};

/// Where events come from. Called by the thread of the events only, with no lock held. Those that are empty have
/// nothing to tell.
struct EventSource {
  /// The list of servers; nothing when it cannot be had now.
  std::function<std::optional<json::Array>()> servers;
  std::function<std::uint64_t()> sightingsVersion;
  /// The first ones after a version, at most that many.
  std::function<SightingChanges(std::uint64_t version, std::size_t most)> sightings;
  /// Nothing when there is none now.
  std::function<std::optional<json::Object>()> status;
};

/// The list as GET /1.0/servers gives it and the status as GET /1.0/status does, asked for inside the process. The
/// manager must outlive what uses it.
EventSource resourceEvents(launcher::PluginManager& manager);

}  // namespace host
