#pragma once

#include "host/observe/Sightings.h"
#include "json/elements.h"

namespace host {

/// {"address", "displayId", "state", "sources": {"slp": {"first", "last"}}, "verified", "failed", "reason"}; a time
/// that is none is left out.
json::Object sightingDocument(const KnownServer& server);

}  // namespace host
