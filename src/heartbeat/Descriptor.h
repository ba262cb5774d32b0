#pragma once

#include <unistd.h>
#include <utility>

namespace heartbeat {

/// Owns a file descriptor, or none (-1).
class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) : mDescriptor(descriptor) {}
  ~Descriptor() {
    if (mDescriptor >= 0) close(mDescriptor);
  }
  Descriptor(Descriptor&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(mDescriptor, other.mDescriptor);
    return *this;
  }

  int get() const { return mDescriptor; }
  int release() { return std::exchange(mDescriptor, -1); }
  explicit operator bool() const { return mDescriptor >= 0; }

 private:
  int mDescriptor;
};

}  // namespace heartbeat
