#include "cli/AnnounceCommands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <optional>
#include <ostream>
#include <poll.h>
#include <system_error>

#include "cli/AnnounceView.h"
#include "cli/Text.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;

enum class Event { kDatagram, kEnd, kTimeout, kFailure };

/// Milliseconds for poll(), -1 for ever. A part of one counts as a whole, so that it does not spin before the end.
int waitFor(const std::optional<Clock::time_point>& until) {
  if (!until) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
}

Event await(int socket, int end, const std::optional<Clock::time_point>& until) {
  std::array<pollfd, 2> descriptors{{{socket, POLLIN, 0}, {end, POLLIN, 0}}};
  while (true) {
    const int ready = ::poll(descriptors.data(), descriptors.size(), waitFor(until));
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return Event::kFailure;
    if (descriptors[1].revents != 0) return Event::kEnd;
    if (until && Clock::now() >= *until) return Event::kTimeout;
    if (descriptors[0].revents != 0) return Event::kDatagram;
  }
}

ExitCode fail(const Failure& failure, std::ostream& err) {
  err << "kvtctl: " << neutralise(failure.message) << "\n";
  return failure.code;
}

void sayWhere(const AnnounceSocket& socket, std::ostream& err) {
  for (const std::string& reason : socket.refused())
    err << "kvtctl: cannot listen on " << neutralise(reason) << "\n";
  err << "kvtctl: listening on ";
  const char* separator = "";
  for (const std::string& name : socket.joined()) {
    err << separator << neutralise(name);
    separator = ", ";
  }
  err << "\n" << std::flush;
}

}  // namespace

ExitCode runAnnounceCommand(const Options& options, std::ostream& out, std::ostream& err, int end) {
  const auto interfaces = chooseInterfaces(announceInterfaces(), options.announce->interfaces);
  if (!interfaces) return fail(interfaces.failure(), err);
  const auto socket = AnnounceSocket::open(*interfaces);
  if (!socket) return fail(socket.failure(), err);
  return listenToAnnouncements(options, **socket, out, err, end);
}

ExitCode listenToAnnouncements(const Options& options, AnnounceSocket& socket, std::ostream& out, std::ostream& err,
                               int end) {
  sayWhere(socket, err);
  const AnnounceOptions& announce = *options.announce;
  std::optional<Clock::time_point> until;
  if (announce.duration) until = Clock::now() + *announce.duration;
  for (std::uint64_t heard = 0; !announce.count || heard < *announce.count;) {
    const Event event = await(socket.descriptor(), end, until);
    if (event == Event::kFailure) {
      return fail({ExitCode::kNonsense, "cannot wait: " + std::generic_category().message(errno)}, err);
    }
    if (event != Event::kDatagram) break;
    const auto datagram = socket.receive();
    if (!datagram) continue;
    ++heard;
    out << (options.format == Format::kJson ? announceJson(*datagram) : announceLine(*datagram)) << std::flush;
    if (!out) break;  // main() says so
  }
  return ExitCode::kDone;
}

}  // namespace cli
