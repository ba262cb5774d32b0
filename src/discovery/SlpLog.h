#pragma once

namespace discovery {

/// Brings the messages of the SLP library into our log for as long as it lives; before and after they go to syslog. One
/// at a time counts. A foreign library keeps its messages to itself.
class SlpLog {
 public:
  SlpLog();
  ~SlpLog();
  SlpLog(const SlpLog&) = delete;
  SlpLog& operator=(const SlpLog&) = delete;
};

}  // namespace discovery
