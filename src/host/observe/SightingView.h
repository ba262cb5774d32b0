#pragma once

#include "host/observe/Sightings.h"
#include "json/elements.h"

namespace host {

/// {"address", "displayId", "state", "sources": {"slp": {"first", "last"}}, "verified", "failed", "reason"}; a time
/// that is none is left out.
json::Object sightingDocument(const KnownServer& server);

/// "2026-11-21T16:50:00Z"
json::String timeText(KnownServer::Time time);

}  // namespace host
