#pragma once

namespace discovery {

/// Brings the SLP library's count of messages to the observer for as long as it lives. One at a time counts. A foreign
/// library counts nothing.
class SlpTraffic {
 public:
  SlpTraffic();
  ~SlpTraffic();
  SlpTraffic(const SlpTraffic&) = delete;
  SlpTraffic& operator=(const SlpTraffic&) = delete;
};

}  // namespace discovery
