#pragma once

#include <sstream>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "cli/Options.h"

namespace cli {

/// What kvtctl makes of a command line, and what it writes meanwhile.
class ParsedOptions : public testing::Test {
 protected:
  std::variant<Options, ExitCode> parse(std::vector<const char*> words) {
    words.insert(words.begin(), "kvtctl");
    return parseOptions(static_cast<int>(words.size()), words.data(), mOut, mErr);
  }
  Options options(const std::vector<const char*>& words) {
    const auto parsed = parse(words);
    EXPECT_TRUE(std::holds_alternative<Options>(parsed)) << mErr.str();
    return std::holds_alternative<Options>(parsed) ? std::get<Options>(parsed) : Options();
  }

  std::ostringstream mOut;
  std::ostringstream mErr;
};

}  // namespace cli
