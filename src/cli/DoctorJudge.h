#pragma once

#include <string>
#include <vector>

#include "cli/DoctorFacts.h"

namespace cli::doctor {

struct Finding {
  enum class Level {
    kFine,
    kNote,    ///< worth knowing, nothing to do
    kProblem  ///< `advice` says what to do
  };
  Level level;
  std::string subject;
  std::string text;
  std::string advice;

  friend bool operator==(const Finding&, const Finding&) = default;
};

/// What the facts mean for whoever wants servers to find one another, in a fixed order.
std::vector<Finding> judge(const Facts& facts);

}  // namespace cli::doctor
