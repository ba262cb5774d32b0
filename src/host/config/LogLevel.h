#pragma once

#include <string>
#include <string_view>

#include "host/Result.h"

namespace host {

/// Reads "error", "warning", "info", "detail", "trace" or a mask of levels, 0 to 255, decimal or as 0x7f.
Result<unsigned int> parseLogLevel(std::string_view text);

/// The name of a mask, else the mask itself as 0x7f.
std::string logLevelName(unsigned int mask);

}  // namespace host
