#pragma once

#include <string>
#include <string_view>

#include "json/elements.h"
#include "json/reader.h"
#include "json/writer.h"

// Short forms for tests: documents from and to text.
inline json::UnknownElement parsed(std::string_view text) {
  json::UnknownElement document;
  json::Reader::Read(document, text);
  return document;
}

template <typename Value>
std::string written(const Value& value, bool pretty = false) {
  std::string text;
  json::Writer::Write(value, text, pretty);
  return text;
}
