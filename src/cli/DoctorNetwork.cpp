#include "cli/DoctorNetwork.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/timex.h>
#include <system_error>
#include <unistd.h>

#include "heartbeat/GroupAddress.h"

namespace cli::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kProbe = "kvtctl doctor";
constexpr std::uint16_t kSlpPort = 427;

class Socket {
 public:
  Socket() : mDescriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
  ~Socket() {
    if (mDescriptor >= 0) ::close(mDescriptor);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  int get() const { return mDescriptor; }
  template <typename Value>
  bool set(int name, const Value& value) const {
    return setsockopt(mDescriptor, IPPROTO_IP, name, &value, sizeof value) == 0;
  }

 private:
  int mDescriptor;
};

sockaddr_in groupAt(in_port_t port) {
  sockaddr_in address = heartbeat::groupAddress();
  address.sin_port = port;
  return address;
}

/// At any free port of the group; 0, with errno set, when the system refuses.
in_port_t bindToGroup(const Socket& socket) {
  sockaddr_in address = groupAt(0);
  socklen_t size = sizeof address;
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return 0;
  if (getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return address.sin_port;
}

bool sendProbe(const Socket& socket, unsigned int interface, in_port_t port) {
  // Without a hop to live it comes back to this machine and goes nowhere else.
  if (!socket.set(IP_MULTICAST_IF, heartbeat::membershipOn(interface)) || !socket.set(IP_MULTICAST_LOOP, int{1}) ||
      !socket.set(IP_MULTICAST_TTL, int{0})) {
    return false;
  }
  const sockaddr_in group = groupAt(port);
  return ::sendto(socket.get(), kProbe.data(), kProbe.size(), 0, reinterpret_cast<const sockaddr*>(&group),
                  sizeof group) == static_cast<ssize_t>(kProbe.size());
}

bool hearsProbe(const Socket& socket, std::chrono::milliseconds wait) {
  pollfd descriptor{socket.get(), POLLIN, 0};
  return ::poll(&descriptor, 1, static_cast<int>(wait.count())) == 1 && (descriptor.revents & POLLIN) != 0;
}

std::string textOfFile(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The name of the program that has one of these sockets open; "" when this process may not know.
std::string holderOf(const std::vector<std::string>& inodes, const fs::path& root) {
  std::error_code error;
  for (fs::directory_iterator process(root, error), end; !error && process != end; process.increment(error)) {
    const std::string name = process->path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    std::error_code refused;
    for (fs::directory_iterator file(process->path() / "fd", refused); !refused && file != fs::directory_iterator();
         file.increment(refused)) {
      std::error_code gone;
      const std::string target = fs::read_symlink(file->path(), gone);
      for (const std::string& inode : inodes) {
        if (target != "socket:[" + inode + "]") continue;
        std::string program = textOfFile(process->path() / "comm");
        return program.substr(0, program.find('\n'));
      }
    }
  }
  return "";
}

PortFacts portFact(std::uint16_t number, const char* protocol, const fs::path& root) {
  const bool isTcp = std::string_view(protocol) == "TCP";
  std::vector<std::string> inodes;
  for (const char* table : isTcp ? std::array{"tcp", "tcp6"} : std::array{"udp", "udp6"}) {
    const auto more = socketsAt(textOfFile(root / "self/net" / table), number, isTcp);
    inodes.insert(inodes.end(), more.begin(), more.end());
  }
  return {number, protocol, !inodes.empty(), inodes.empty() ? "" : holderOf(inodes, root)};
}

}  // namespace

InterfaceFacts echoOn(const AnnounceInterface& interface, std::chrono::milliseconds wait) {
  InterfaceFacts facts{interface.name, interface.address, InterfaceFacts::Echo::kRefused, ""};
  const Socket listener;
  const Socket sender;
  const in_port_t port = listener.get() < 0 || sender.get() < 0 ? in_port_t{0} : bindToGroup(listener);
  if (port == 0 || !listener.set(IP_MULTICAST_ALL, int{0}) || !heartbeat::joinGroup(listener.get(), interface.index) ||
      !sendProbe(sender, interface.index, port)) {
    facts.refusal = std::generic_category().message(errno);
    return facts;
  }
  facts.echo = hearsProbe(listener, wait) ? InterfaceFacts::Echo::kHeard : InterfaceFacts::Echo::kSilent;
  return facts;
}

bool hasGroupRoute() {
  const Socket socket;
  const sockaddr_in group = heartbeat::groupAddress();
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&group), sizeof group) == 0;
}

std::vector<std::string> socketsAt(std::string_view table, std::uint16_t port, bool isTcp) {
  constexpr std::string_view kListening = "0A";
  std::vector<std::string> inodes;
  std::istringstream lines{std::string(table)};
  for (std::string line; std::getline(lines, line);) {
    // "  12: 00000000:01AB 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 22337 ..."
    std::istringstream words(line);
    std::string slot, local, remote, state, queues, timer, retransmits, user, timeout, inode;
    if (!(words >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> user >> timeout >> inode)) {
      continue;
    }
    const std::size_t colon = local.rfind(':');
    if (colon == std::string::npos || (isTcp && state != kListening)) continue;
    std::uint16_t number = 0;
    const char* end = local.data() + local.size();
    const auto read = std::from_chars(local.data() + colon + 1, end, number, 16);
    if (read.ec == std::errc() && read.ptr == end && number == port) inodes.push_back(inode);
  }
  return inodes;
}

std::vector<PortFacts> portFacts(const std::string& root) {
  return {portFact(kSlpPort, "UDP", root), portFact(kSlpPort, "TCP", root),
          portFact(heartbeat::kAnnouncePort, "UDP", root)};
}

std::optional<bool> isClockKept() {
  timex state{};
  const int result = adjtimex(&state);
  if (result < 0) return std::nullopt;
  return result != TIME_ERROR && (state.status & STA_UNSYNC) == 0;
}

}  // namespace cli::doctor
