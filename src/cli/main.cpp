#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <variant>

#include "cli/AnnounceCommands.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "cli/ServerApi.h"
#include "cli/SlpCommands.h"
#include "httpclient/HttpClient.h"

namespace {

/// Blocked before there are threads, the signals wait for awaitEnd() whoever they are sent to.
sigset_t blockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

cli::ExitCode runSlp(const cli::Options& options) {
  if (options.slp->command != cli::SlpCommand::kRegister) {
    cli::sendSlpLogTo(std::cerr);
    return cli::runSlpCommand(options, std::cout, std::cerr, [] {});
  }
  const sigset_t signals = blockEndSignals();
  cli::sendSlpLogTo(std::cerr);
  return cli::runSlpCommand(options, std::cout, std::cerr, [&signals] {
    int signal = 0;
    sigwait(&signals, &signal);
  });
}

cli::ExitCode runAnnounce(const cli::Options& options) {
  const sigset_t signals = blockEndSignals();
  const int end = signalfd(-1, &signals, SFD_CLOEXEC);
  if (end < 0) throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
  const cli::ExitCode code = cli::runAnnounceCommand(options, std::cout, std::cerr, end);
  close(end);
  return code;
}

cli::ExitCode run(const cli::Options& options) {
  if (options.slp) return runSlp(options);
  if (options.announce) return runAnnounce(options);
  const cli::ServerApi server(httpclient::perform, options.server, options.timeout);
  return cli::runCommand(options, server, std::cout, std::cerr);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto parsed = cli::parseOptions(argc, argv, std::cout, std::cerr);
    if (const auto* code = std::get_if<cli::ExitCode>(&parsed)) return static_cast<int>(*code);
    const auto& options = std::get<cli::Options>(parsed);
    const cli::ExitCode code = run(options);
    if (std::cout.flush()) return static_cast<int>(code);
    std::cerr << "kvtctl: cannot write the output\n";
    return static_cast<int>(cli::ExitCode::kRefused);
  } catch (const std::exception& e) {
    std::cerr << "kvtctl: " << e.what() << "\n";
    return static_cast<int>(cli::ExitCode::kNonsense);
  }
}
