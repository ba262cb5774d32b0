#pragma once

#include <sched.h>
#include <thread>

namespace slp::net {

/// Runs `body` in a thread with a network of its own, in which nothing is up, so that nothing outside is changed. False
/// when that cannot be had.
template <typename Body>
bool inOwnNetwork(const Body& body) {
  bool had = false;
  std::thread([&] {
    had = ::unshare(CLONE_NEWNET) == 0;
    if (had) body();
  }).join();
  return had;
}

}  // namespace slp::net
