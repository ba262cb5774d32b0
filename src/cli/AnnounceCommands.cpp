#include "cli/AnnounceCommands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <ostream>
#include <poll.h>
#include <system_error>

#include "cli/AnnounceView.h"
#include "cli/Output.h"
#include "cli/Text.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;

/// Between two looks at the interfaces.
constexpr Clock::duration kLookInterval = std::chrono::seconds(1);

enum class Event { kDatagram, kEnd, kTimeout, kFailure };

/// Milliseconds for poll(). A part of one counts as a whole, so that it does not spin before the end.
int waitFor(Clock::time_point until) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
}

Event await(int socket, int end, Clock::time_point until) {
  std::array<pollfd, 2> descriptors{{{socket, POLLIN, 0}, {end, POLLIN, 0}}};
  while (true) {
    const int ready = ::poll(descriptors.data(), descriptors.size(), waitFor(until));
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return Event::kFailure;
    if (descriptors[1].revents != 0) return Event::kEnd;
    if (Clock::now() >= until) return Event::kTimeout;
    if (descriptors[0].revents != 0) return Event::kDatagram;
  }
}

void sayListening(const std::vector<std::string>& names, std::ostream& err) {
  if (names.empty()) return;
  err << "kvtctl: listening on ";
  const char* separator = "";
  for (const std::string& name : names) {
    err << separator << neutralise(name);
    separator = ", ";
  }
  err << "\n" << std::flush;
}

void sayWhere(const AnnounceSocket& socket, std::ostream& err) {
  for (const std::string& reason : socket.refused())
    err << "kvtctl: cannot listen on " << neutralise(reason) << "\n";
  sayListening(socket.joined(), err);
}

void print(const AnnounceDatagram& datagram, Format format, std::ostream& out) {
  out << (format == Format::kJson ? announceJson(datagram) : announceLine(datagram)) << std::flush;
}

}  // namespace

ExitCode runAnnounceCommand(const Options& options, std::ostream& out, std::ostream& err, int end) {
  const auto interfaces = chooseInterfaces(announceInterfaces(), options.announce->interfaces);
  if (!interfaces) return fail(interfaces.failure(), err);
  const auto socket = AnnounceSocket::open(*interfaces);
  if (!socket) return fail(socket.failure(), err);
  const auto look = [&options] {
    const auto current = chooseInterfaces(announceInterfaces(), options.announce->interfaces);
    return current ? *current : std::vector<AnnounceInterface>();  // all may come back
  };
  return listenToAnnouncements(options, **socket, look, out, err, end);
}

ExitCode listenToAnnouncements(const Options& options, AnnounceSocket& socket,
                               const std::function<std::vector<AnnounceInterface>()>& look, std::ostream& out,
                               std::ostream& err, int end) {
  const AnnounceOptions& announce = *options.announce;
  Clock::time_point nextLook = Clock::now() + kLookInterval;
  const auto until = announce.duration ? Clock::now() + *announce.duration : Clock::time_point::max();
  sayWhere(socket, err);
  if (options.format == Format::kTable) out << announceTitle() << std::flush;
  // When `out` takes no more, main() says so.
  for (std::uint64_t heard = 0; out && (!announce.count || heard < *announce.count);) {
    const Event event = await(socket.descriptor(), end, std::min(until, nextLook));
    if (event == Event::kFailure) {
      return fail({ExitCode::kNonsense, "cannot wait: " + std::generic_category().message(errno)}, err);
    }
    if (event == Event::kEnd || Clock::now() >= until) break;
    if (event == Event::kTimeout) {
      sayListening(socket.follow(look()), err);
      nextLook = Clock::now() + kLookInterval;
    } else if (const auto datagram = socket.receive()) {
      ++heard;
      print(*datagram, options.format, out);
    }
  }
  return ExitCode::kDone;
}

}  // namespace cli
