#pragma once

#include <string>

#include "json/elements.h"

namespace discovery {

/// Builds, into `out`, the answer of a server of which nothing but the address is known: status block and record, the
/// latter as the answer's value.
void formProvisionalRecord(json::Object& out, std::string address);

}  // namespace discovery
