#pragma once

#include <functional>
#include <optional>
#include <string>

namespace cli {

/// How kvtctl asks its user; tests answer in his place. Nothing stands for the end of the input.
struct Prompt {
  using Question = std::function<std::optional<std::string>(const std::string& question)>;

  /// Somebody is there to be asked. Otherwise questions are not shown, and the answers are the lines of the input.
  bool isTerminal = false;
  Question line;
  Question secret;  ///< is not shown while it is typed

  /// Only "y" and "yes" are a yes; without a terminal it is a no.
  bool confirms(const std::string& question) const;
};

/// The process' own input; what is asked goes to the standard error, so that the output stays clean.
Prompt terminalPrompt();

}  // namespace cli
