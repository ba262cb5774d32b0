#pragma once

#include <unistd.h>
#include <utility>

namespace slp::net {

/// Owns a file descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : mFd(fd) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.mFd, -1));
    return *this;
  }

  int get() const { return mFd; }
  explicit operator bool() const { return mFd >= 0; }
  void reset(int fd = -1) {
    if (mFd >= 0) ::close(mFd);
    mFd = fd;
  }

 private:
  int mFd = -1;
};

}  // namespace slp::net
