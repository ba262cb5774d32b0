#pragma once

#include <string>

namespace discovery {

/// What came of looking at a server that discovery produced.
struct Verdict {
  enum class Outcome {
    kPassedOver,  ///< nothing that could be a server
    kSeen,        ///< filed without asking it
    kVerified,    ///< filed with the details that it gave
    kFailed       ///< not filed; `reason` says why, in words
  };
  enum class Fetch { kNone, kAnswered, kFailed };

  Outcome outcome = Outcome::kPassedOver;
  std::string reason;
  Fetch fetch = Fetch::kNone;  ///< whether it was asked for its details
  std::string displayId;       ///< "" when it is not known

  bool isFiled() const { return outcome == Outcome::kSeen || outcome == Outcome::kVerified; }
};

}  // namespace discovery
