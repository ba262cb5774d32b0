#pragma once

#include "host/events/EventSource.h"

namespace host {

class Observatory;

/// Has a source tell of the sightings, too. The observatory must outlive what uses it.
void addSightings(EventSource& source, const Observatory& observatory);

}  // namespace host
