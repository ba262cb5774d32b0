#include "unit/heartbeat/Network.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "framework/utils/Log.h"
#include "framework/utils/System.h"
#include "heartbeat/GroupAddress.h"
#include "support/Ip.h"
#include "support/Wait.h"

namespace heartbeat::testing {
namespace {

bool isRunning(const std::string& interface) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  interface.copy(request.ifr_name, sizeof request.ifr_name - 1);
  return ioctl(socket.get(), SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_RUNNING) != 0;
}

std::size_t entriesOf(const char* folder) {
  const auto size = std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  return static_cast<std::size_t>(size);
}

}  // namespace

bool mayMakeNamespaces() {
  bool may = false;
  std::thread([&] { may = unshare(CLONE_NEWNET) == 0; }).join();
  return may;
}

Namespace::Namespace() {
  std::thread([this] {
    if (unshare(CLONE_NEWNET) == 0) mNamespace = Descriptor(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
  }).join();
  ip("link set lo up");
}

void Namespace::in(const std::function<void()>& work) const {
  std::thread([&] {
    ASSERT_EQ(setns(mNamespace.get(), CLONE_NEWNET), 0) << std::strerror(errno);
    work();
  }).join();
}

void Namespace::ip(const std::string& words) const {
  in([&] { EXPECT_TRUE(support::ip(words)) << "ip " << words; });
}

void Namespace::set(const std::string& name, const std::string& value) const {
  in([&] {
    std::ofstream file("/proc/sys/net/" + name);
    file << value << std::flush;
    EXPECT_TRUE(file.good()) << name;
  });
}

std::string Namespace::path() const {
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(mNamespace.get());
}

void connect(const Namespace& left, const std::string& leftAddress, const Namespace& right,
             const std::string& rightAddress, const std::string& name) {
  left.ip("link add " + name + " type veth peer name " + name + " netns " + right.path());
  for (const auto& [side, address] : {std::pair(&left, leftAddress), std::pair(&right, rightAddress)}) {
    side->ip("addr add " + address + "/24 dev " + name);
    side->ip("link set " + name + " up");
  }
  for (const Namespace* side : {&left, &right}) {
    // Until the kernel has seen to it that the cable is plugged in, it throws away what is sent.
    side->in([&] { EXPECT_TRUE(support::waitFor([&] { return isRunning(name); })); });
    // It says so before it is done, and waits with the next change until it is.
    side->ip("link set " + name + " up");
  }
}

void send(const std::string& address, std::span<const std::byte> bytes, const std::string& interface) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ASSERT_TRUE(socket);
  if (!interface.empty()) {
    ip_mreqn out{};
    out.imr_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    ASSERT_EQ(setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_IF, &out, sizeof out), 0);
  }
  sockaddr_in to = anyAddress(kAnnouncePort);
  ASSERT_EQ(inet_pton(AF_INET, address.c_str(), &to.sin_addr), 1);
  ASSERT_EQ(sendto(socket.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to),
            static_cast<ssize_t>(bytes.size()))
      << std::strerror(errno);
}

std::vector<std::string> interfacesInGroup() {
  std::ifstream file("/proc/thread-self/net/igmp");
  std::vector<std::string> found;
  std::string interface;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    std::string second;
    words >> second;
    if (line.starts_with("\t")) {
      if (first == "FDFFFFEF") found.push_back(interface);  // 239.255.255.253, its bytes backwards
    } else {
      interface = second;
    }
  }
  return found;
}

std::size_t threadsOfThisProcess() {
  return entriesOf("/proc/self/task");
}

std::size_t descriptorsOfThisProcess() {
  return entriesOf("/proc/self/fd");
}

DescriptorLimit::DescriptorLimit(std::size_t more) {
  // A sanitizer that meets a class for the first time makes a pipe to look at it, and takes an error for a bad object.
  // What fails under the limit is logged and the system is asked, so a record is written and it is asked before.
  utils::System::get_instance()->getNetworkInterfaces();
  utils::formatted_log_t(utils::LOG_DETAIL, "%1% more descriptors %2%") % more % "from now on";
  utils::formatted_log_t(utils::LOG_DETAIL, "%1%") % EMFILE;
  std::vector<Descriptor> free(more + 1);
  for (Descriptor& descriptor : free)
    descriptor = Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
  getrlimit(RLIMIT_NOFILE, &mBefore);
  rlimit limit = mBefore;
  limit.rlim_cur = static_cast<rlim_t>(free.back().get());
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

DescriptorLimit::~DescriptorLimit() {
  setrlimit(RLIMIT_NOFILE, &mBefore);
}

}  // namespace heartbeat::testing
