#pragma once

#include <variant>
#include <vector>

#include "slp/wire/Message.h"

namespace slp::test {

/// What a packet dissector says of a message of a capture.
struct CaptureExpectation {
  int capture = 0;
  int frame = 0;                                          ///< the one that completes the message
  std::variant<wire::Message, wire::ErrorCode> expected;  ///< an error: it must be rejected
};

const std::vector<CaptureExpectation>& captureExpectations();

}  // namespace slp::test
