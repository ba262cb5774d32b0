#pragma once

#include "json/elements.h"

namespace discovery {

/// Whether a record, written as text, is longer than any server's may be.
bool isTooLarge(const json::Object& record);

}  // namespace discovery
