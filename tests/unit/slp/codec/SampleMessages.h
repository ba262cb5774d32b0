#pragma once

#include <string_view>
#include <vector>

#include "slp/wire/Message.h"

namespace slp::test {

struct Sample {
  std::string_view name;
  wire::Message message;
};

/// Messages of every type, with much and with little in them, none of them with an error code. The last ones carry
/// extensions; those without stand first.
const std::vector<Sample>& samples();
/// Replies of every type that has one with an error code.
const std::vector<Sample>& errorReplies();

/// One authentication block, 20 bytes long, and two of them.
extern const std::string_view kOneAuthBlock;
extern const std::string_view kTwoAuthBlocks;

}  // namespace slp::test
