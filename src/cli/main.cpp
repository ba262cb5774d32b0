#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <poll.h>
#include <sstream>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <variant>

#include "cli/AccessCommands.h"
#include "cli/AnnounceCommands.h"
#include "cli/Commands.h"
#include "cli/DoctorCommand.h"
#include "cli/DoctorGather.h"
#include "cli/Options.h"
#include "cli/Output.h"
#include "cli/PeerCommands.h"
#include "cli/Progress.h"
#include "cli/Prompt.h"
#include "cli/ServerApi.h"
#include "cli/ServerTrust.h"
#include "cli/SlpCommands.h"
#include "cli/UserCommands.h"
#include "cli/WatchCommand.h"
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

/// Can be read once the user wants to end.
class EndSignal {
 public:
  EndSignal() {
    const sigset_t signals = blockEndSignals();
    mDescriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (mDescriptor < 0) throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
  }
  ~EndSignal() { close(mDescriptor); }
  EndSignal(const EndSignal&) = delete;
  EndSignal& operator=(const EndSignal&) = delete;

  int get() const { return mDescriptor; }
  bool wait(std::chrono::milliseconds limit) const {
    pollfd descriptor{mDescriptor, POLLIN, 0};
    return ::poll(&descriptor, 1, static_cast<int>(limit.count())) > 0;
  }

 private:
  int mDescriptor = -1;
};

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
  const EndSignal end;
  return cli::runAnnounceCommand(options, std::cout, std::cerr, end.get());
}

/// Nothing when the file has no authority in it.
std::optional<std::string> authoritiesIn(const std::string& path) {
  if (path.empty()) return "";
  std::ifstream file(path);
  std::string text(std::istreambuf_iterator<char>(file), {});
  if (!httpclient::holdsCertificates(text)) return std::nullopt;
  return text;
}

/// Ends what waits for the server when the user wants to end.
cli::Exchange endedBy(cli::Exchange inner, const EndSignal& end) {
  return [inner = std::move(inner), &end](httpclient::Request request) {
    if (!request.cancelled) request.cancelled = [&end] { return end.wait(std::chrono::milliseconds(0)); };
    return inner(request);
  };
}

cli::ExitCode runDoctor(const cli::Options& options, const cli::RestClient& client) {
  constexpr std::chrono::milliseconds kLongestSearch{3000};
  cli::sendSlpLogTo(std::cerr);
  const auto facts = [&] {
    cli::Progress progress(std::cerr, cli::isErrTerminal(), "looking around");
    return cli::doctor::gather(client, httpclient::perform, std::min(options.timeout, kLongestSearch),
                               [&progress](std::string what) { progress.say(std::move(what)); });
  }();
  return cli::tellFindings(facts, options.format, std::cout);
}

cli::ExitCode runSearch(const cli::Options& options, const cli::RestClient& client) {
  std::optional<cli::Progress> progress;
  progress.emplace(std::cerr, cli::isErrTerminal(), "looking for a server at " + options.argument);
  // What it has found, or not, is printed when the line has been wiped.
  std::ostringstream out;
  std::ostringstream err;
  const cli::ExitCode code = cli::runCommand(options, cli::ServerApi(client), out, err);
  progress.reset();
  std::cout << out.str();
  std::cerr << err.str();
  return code;
}

cli::ExitCode runOnServer(const cli::Options& options, const cli::RestClient& client, const cli::UserFiles& files,
                          const cli::Prompt& prompt, const std::optional<EndSignal>& end) {
  if (options.access) return cli::runAccessCommand(options, client, files, prompt, std::cout, std::cerr);
  if (options.peers) return cli::runPeerCommand(options, client, std::cout, std::cerr);
  switch (options.command) {
    case cli::Command::kDoctor:
      return runDoctor(options, client);
    case cli::Command::kWatch:
      return cli::runWatchCommand(options, client, std::cout, std::cerr,
                                  [&end](std::chrono::milliseconds limit) { return end->wait(limit); });
    case cli::Command::kSearch:
      return runSearch(options, client);
    default:
      return cli::runCommand(options, cli::ServerApi(client), std::cout, std::cerr);
  }
}

/// Whether the command shows who it is by itself: a login, and what is about one that may be wrong.
bool comesWithoutToken(const cli::Options& options) {
  return options.access && (options.access->command == cli::AccessCommand::kLogin ||
                            options.access->command == cli::AccessCommand::kLogout ||
                            options.access->command == cli::AccessCommand::kTrust);
}

cli::ExitCode run(const cli::Options& options) {
  if (options.slp) return runSlp(options);
  if (options.announce) return runAnnounce(options);
  const cli::Prompt prompt = cli::terminalPrompt();
  if (options.user) return cli::runUserCommand(options, prompt, std::cout, std::cerr);

  const cli::UserFiles files(cli::UserFiles::defaultDirectory());
  cli::TrustOptions trust;
  if (!options.fingerprint.empty()) trust.fingerprint = options.fingerprint;
  trust.isReplacing = options.access && options.access->command == cli::AccessCommand::kTrust;
  const auto authorities = authoritiesIn(options.authoritiesFile);
  if (!authorities) {
    return cli::fail({cli::ExitCode::kUsage, "no certificate can be read from " + options.authoritiesFile}, std::cerr);
  }
  trust.authorities = *authorities;
  std::optional<EndSignal> end;
  cli::Exchange exchange = httpclient::perform;
  if (!options.access && !options.peers && options.command == cli::Command::kWatch) {
    end.emplace();
    exchange = endedBy(std::move(exchange), *end);
  }
  exchange = cli::trustedExchange(std::move(exchange), std::move(trust), files, prompt);
  const std::string token = comesWithoutToken(options) ? "" : cli::tokenFor(cli::tidyUrl(options.server), files);
  if (std::any_of(token.begin(), token.end(), [](unsigned char c) { return std::iscntrl(c) != 0; })) {
    return cli::fail({cli::ExitCode::kUsage, "KVT_TOKEN holds what no token does"}, std::cerr);
  }
  const cli::RestClient client(cli::authorisedExchange(std::move(exchange), token), options.server, options.timeout);
  return runOnServer(options, client, files, prompt, end);
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
