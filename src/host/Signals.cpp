#include "host/Signals.h"

#include <csignal>
#include <initializer_list>
#include <unistd.h>

#include "host/ExitCodes.h"

namespace host::signals {
namespace {

sigset_t setOf(std::initializer_list<int> numbers) {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : numbers) {
    sigaddset(&set, number);
  }
  return set;
}

extern "C" void endTooLate(int) {
  static constexpr char kMessage[] = "kvt-server: shutting down takes too long, ending now\n";
  const auto ignored = write(STDERR_FILENO, kMessage, sizeof kMessage - 1);
  static_cast<void>(ignored);
  _exit(kExitInternal);
}

}  // namespace

void block() {
  const sigset_t set = setOf({SIGTERM, SIGINT, SIGHUP});
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

int wait() {
  const sigset_t set = setOf({SIGTERM, SIGINT, SIGHUP});
  int number = 0;
  while (sigwait(&set, &number) != 0) {
  }
  return number;
}

void limitTheEnd(std::chrono::seconds deadline) {
  std::signal(SIGALRM, endTooLate);
  alarm(static_cast<unsigned int>(deadline.count()));
  std::signal(SIGTERM, SIG_DFL);
  std::signal(SIGINT, SIG_DFL);
  const sigset_t set = setOf({SIGTERM, SIGINT});
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace host::signals
