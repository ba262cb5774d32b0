#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <gtest/gtest.h>

#include "heartbeat/Descriptor.h"

namespace heartbeat::testing {

/// Whether this process may make network namespaces.
bool mayMakeNamespaces();

/// A network namespace of the test's own with a loopback interface that is up.
class Namespace {
 public:
  Namespace();

  /// Runs the work in a thread inside and waits for its end. Threads that it starts are inside, too.
  void in(const std::function<void()>& work) const;
  /// Runs `ip` with these words inside; a failure fails the test.
  void ip(const std::string& words) const;
  /// Sets a file below /proc/sys/net.
  void set(const std::string& name, const std::string& value) const;
  /// How `ip` names it.
  std::string path() const;

 private:
  Descriptor mNamespace;
};

/// Connects two namespaces by an interface of that name each, with these addresses of a /24. Returns when what one side
/// sends arrives at the other.
void connect(const Namespace& left, const std::string& leftAddress, const Namespace& right,
             const std::string& rightAddress, const std::string& name = "eth0");

/// Tests in namespaces, skipped where none can be made.
class NetworkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!mayMakeNamespaces()) GTEST_SKIP() << "needs root (or CAP_SYS_ADMIN) to make a network namespace";
  }
};

/// Sends one datagram to that IPv4 address and the port of the records, from the calling thread's namespace. To the
/// group it goes out of `interface`.
void send(const std::string& address, std::span<const std::byte> bytes, const std::string& interface = "");

/// The interfaces of the calling thread's namespace on which somebody is in the group of the records.
std::vector<std::string> interfacesInGroup();

std::size_t threadsOfThisProcess();
std::size_t descriptorsOfThisProcess();

/// Leaves this process with so many more descriptors for its lifetime.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(std::size_t more);
  ~DescriptorLimit();
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit mBefore{};
};

}  // namespace heartbeat::testing
