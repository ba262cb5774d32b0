#pragma once

#include <chrono>
#include <string>
#include <variant>

#include "host/http/Messages.h"
#include "json/elements.h"

namespace host {

/// 200 with a value, that nobody may keep.
Answer valueAnswer(const json::UnknownElement& value);

/// 200 without one.
Answer doneAnswer();

/// Reads a short body, which is one JSON object: the front's only thread does so, for anybody. The answer is a refusal.
std::variant<json::Object, Answer> readShortBody(const std::string& body);

/// A refusal for now.
Answer laterAnswer(int status, const std::string& text, std::chrono::seconds wait);

}  // namespace host
