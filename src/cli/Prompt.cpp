#include "cli/Prompt.h"

#include <array>
#include <csignal>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace cli {
namespace {

termios shown{};  // how the terminal was; the handler below needs it

extern "C" void showAgain(int signal) {
  tcsetattr(STDIN_FILENO, TCSANOW, &shown);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

/// The terminal shows nothing of what is typed while this lives, also when the process is ended meanwhile.
class Hidden {
 public:
  Hidden() {
    if (tcgetattr(STDIN_FILENO, &shown) != 0) return;
    for (std::size_t i = 0; i < kEnds.size(); ++i)
      mBefore[i] = std::signal(kEnds[i], showAgain);
    termios hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    mIsHidden = tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden) == 0;
  }
  ~Hidden() {
    if (mIsHidden) tcsetattr(STDIN_FILENO, TCSANOW, &shown);
    for (std::size_t i = 0; i < kEnds.size(); ++i) {
      if (mBefore[i] != SIG_ERR) std::signal(kEnds[i], mBefore[i]);
    }
  }
  Hidden(const Hidden&) = delete;
  Hidden& operator=(const Hidden&) = delete;

 private:
  static constexpr std::array kEnds{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
  std::array<void (*)(int), kEnds.size()> mBefore{SIG_ERR, SIG_ERR, SIG_ERR, SIG_ERR};
  bool mIsHidden = false;
};

std::optional<std::string> readLine() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

}  // namespace

bool Prompt::confirms(const std::string& question) const {
  if (!isTerminal) return false;
  const auto answer = line(question);
  return answer == "y" || answer == "yes" || answer == "Y";
}

Prompt terminalPrompt() {
  Prompt prompt;
  prompt.isTerminal = isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
  prompt.line = [asks = prompt.isTerminal](const std::string& question) {
    if (asks) std::cerr << question << std::flush;
    return readLine();
  };
  prompt.secret = [asks = prompt.isTerminal](const std::string& question) {
    if (!asks) return readLine();
    std::cerr << question << std::flush;
    const Hidden hidden;
    auto answer = readLine();
    std::cerr << "\n";
    return answer;
  };
  return prompt;
}

}  // namespace cli
