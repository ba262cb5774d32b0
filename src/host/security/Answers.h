#pragma once

#include <chrono>
#include <string>

#include "host/http/Messages.h"
#include "json/elements.h"

namespace host {

/// 200 with a value, that nobody may keep.
Answer valueAnswer(const json::UnknownElement& value);

/// 200 without one.
Answer doneAnswer();

/// A refusal for now.
Answer laterAnswer(int status, const std::string& text, std::chrono::seconds wait);

}  // namespace host
