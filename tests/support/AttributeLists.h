#pragma once

#include <string>
#include <string_view>

#include "discovery/AttributeList.h"

namespace support {

/// The attribute list that a server of our own registers.
inline std::string attributeListOf(std::string_view address, std::string_view serverDetails) {
  std::string attributes;
  discovery::appendAttribute("ip=", address, attributes);
  discovery::appendAttribute("server=", serverDetails, attributes);
  return attributes;
}

}  // namespace support
