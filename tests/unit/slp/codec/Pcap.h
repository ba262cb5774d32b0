#pragma once

#include <string>
#include <vector>

namespace slp::test {

struct CapturedMessage {
  int frame = 0;  ///< the one that completes it, counted from 1
  std::string bytes;
};

/// The messages to and from port 427 of a capture file: of UDP over IPv4, also in fragments, and of TCP, cut where each
/// message says that it ends. Throws std::runtime_error when the file is anything else than a capture.
std::vector<CapturedMessage> readCapture(const std::string& path);

/// The path of the capture with this number.
std::string capturePath(int number);

}  // namespace slp::test
