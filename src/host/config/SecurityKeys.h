#pragma once

#include <vector>

#include "host/config/SettingKeys.h"

namespace host {

/// The keys of [tls], [access] and [peers].
void addSecurityKeys(std::vector<SettingKey>& keys);

}  // namespace host
