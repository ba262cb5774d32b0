#include "support/OwnNetwork.h"

#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace support {
namespace {

bool gHasOwnNetwork = false;

/// Users have to be root of a namespace of theirs to make one of the network.
bool makeNetwork() {
  return unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
}

bool raiseLoopback() {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return false;
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
  request.ifr_flags = IFF_UP | IFF_RUNNING | IFF_LOOPBACK | IFF_MULTICAST;
  const bool isUp = ioctl(descriptor, SIOCSIFFLAGS, &request) == 0;
  close(descriptor);
  return isUp;
}

class OwnNetwork : public testing::Environment {
 public:
  void SetUp() override { gHasOwnNetwork = makeNetwork() && raiseLoopback(); }
};

[[maybe_unused]] const auto* const gEnvironment = testing::AddGlobalTestEnvironment(new OwnNetwork);

}  // namespace

bool hasOwnNetwork() {
  return gHasOwnNetwork;
}

}  // namespace support
