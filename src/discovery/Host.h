#pragma once

#include <cstdint>
#include <string>

/// The local server as it was last registered. The port is the one that the host listens on. Nobody fills the last
/// three fields, which belong to the shape of the record.
struct Host {
  std::string mAddress;
  std::int32_t mPort = 0;
  std::string mReservedText;
  std::int32_t mReservedNumber = 0;
  std::string mReservedText2;
};
