#pragma once

#include <string>
#include <string_view>

#include "host/events/EventDiff.h"
#include "host/events/EventSource.h"
#include "json/elements.h"

namespace host {

/// One event as it goes over the wire (text/event-stream of the HTML standard).
std::string eventText(std::string_view name, const json::Object& data);
/// The event that tells of these changes.
std::string serversEvent(const ServerChanges& changes);
std::string sightingsEvent(const SightingChanges& changes);

/// A comment, which clients pass over.
inline constexpr std::string_view kHeartbeat = ":\n\n";

}  // namespace host
