#pragma once

#include <set>
#include <string>
#include <vector>

#include "framework/utils/System.h"
#include "host/observe/Observatory.h"
#include "json/elements.h"

namespace host {

/// The value of GET /1.0/status. Certificate and peers are null, or counted from what was told, where nobody provides
/// them. `joined` are the names of the interfaces on which announcements are heard.
json::Object statusDocument(const Observatory& observatory, const std::vector<utils::NetworkInterface>& interfaces,
                            const std::set<std::string>& joined);

}  // namespace host
