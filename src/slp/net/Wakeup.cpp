#include "slp/net/Wakeup.h"

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>

namespace slp::net {

Wakeup::Wakeup() : mFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!mFd) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void Wakeup::signal() {
  const std::uint64_t one = 1;
  // The only failure is a counter at its end, and then the signal stands already.
  [[maybe_unused]] const auto written = ::write(mFd.get(), &one, sizeof(one));
}

void Wakeup::clear() {
  std::uint64_t count = 0;
  // The only failure is that there was no signal.
  [[maybe_unused]] const auto taken = ::read(mFd.get(), &count, sizeof(count));
}

}  // namespace slp::net
