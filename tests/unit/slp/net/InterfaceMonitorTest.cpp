#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "slp/net/Descriptor.h"
#include "slp/net/Interfaces.h"
#include "unit/slp/net/OwnNetwork.h"
#include "unit/slp/net/Sockets.h"

namespace slp::net {
namespace {

bool bringLoopback(bool up) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = up ? IFF_UP : 0;
  return ::ioctl(socket.get(), SIOCSIFFLAGS, &request) == 0;
}

TEST(InterfaceMonitor, IsSilentWhileNothingChanges) {
  const bool had = inOwnNetwork([] {
    InterfaceMonitor monitor;
    ASSERT_GE(monitor.fd(), 0);
    EXPECT_FALSE(monitor.changed());
  });
  if (!had) GTEST_SKIP() << "needs the privilege to make a network namespace";
}

TEST(InterfaceMonitor, TellsOnceOfInterfacesThatComeAndGo) {
  const bool had = inOwnNetwork([] {
    InterfaceMonitor monitor;
    EXPECT_TRUE(listInterfaces().empty());
    for (const bool up : {true, false}) {
      ASSERT_TRUE(bringLoopback(up));
      ASSERT_TRUE(isReady(monitor.fd()));
      EXPECT_TRUE(monitor.changed());
      while (isReady(monitor.fd(), POLLIN, std::chrono::milliseconds(0)))
        monitor.changed();
      EXPECT_FALSE(monitor.changed());
      EXPECT_EQ(listInterfaces().size(), up ? 1u : 0u);
    }
  });
  if (!had) GTEST_SKIP() << "needs the privilege to make a network namespace";
}

TEST(InterfaceMonitor, TakesAnOverrunForAChange) {
  const bool had = inOwnNetwork([] {
    InterfaceMonitor monitor;
    const int smallest = 1;
    ::setsockopt(monitor.fd(), SOL_SOCKET, SO_RCVBUF, &smallest, sizeof(smallest));
    for (int i = 0; i < 200; ++i)
      ASSERT_TRUE(bringLoopback(i % 2 == 0));
    EXPECT_TRUE(monitor.changed());
    while (isReady(monitor.fd(), POLLIN, std::chrono::milliseconds(0)))
      monitor.changed();
    EXPECT_FALSE(monitor.changed());
  });
  if (!had) GTEST_SKIP() << "needs the privilege to make a network namespace";
}

}  // namespace
}  // namespace slp::net
