#pragma once

#include "slp/net/Descriptor.h"

namespace slp::net {

/// Wakes a thread that polls (an eventfd). Any thread may signal.
class Wakeup {
 public:
  Wakeup();  ///< throws std::system_error when the process has no descriptors left

  int fd() const { return mFd.get(); }
  void signal();
  void clear();  ///< takes every signal given so far; does not block

 private:
  Descriptor mFd;
};

}  // namespace slp::net
