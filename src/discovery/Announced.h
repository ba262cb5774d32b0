#pragma once

#include <string>

namespace discovery {

/// What became of an announcement.
struct Announced {
  enum class Outcome { kFiled, kPresent, kFull, kLongAddress, kNoDetails, kUnreadableDetails };

  Outcome outcome = Outcome::kFiled;
  std::string displayId;  ///< "" when the details have none
};

}  // namespace discovery
