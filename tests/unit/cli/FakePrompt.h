#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "cli/Prompt.h"

namespace cli {

/// Somebody who gives prepared answers, and then none.
struct FakePrompt {
  Prompt prompt(bool isTerminal) {
    const auto answer = [this](const std::string& question) -> std::optional<std::string> {
      questions.push_back(question);
      if (answers.empty()) return std::nullopt;
      std::string next = answers.front();
      answers.pop_front();
      return next;
    };
    return {isTerminal, answer, answer};
  }

  std::deque<std::string> answers;
  std::vector<std::string> questions;
};

}  // namespace cli
