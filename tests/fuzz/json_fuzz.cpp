#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>

#include "json/diagnosis.h"
#include "json/reader.h"
#include "json/writer.h"

// What is read is written, and read back as an equal document; what is not read is diagnosed, inside the text.
namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "json_fuzz: " << what << '\n';
  std::abort();
}

std::string written(const json::UnknownElement& document, bool pretty) {
  std::string text;
  json::Writer::Write(document, text, pretty);
  return text;
}

json::UnknownElement readBack(const std::string& text) {
  json::UnknownElement document;
  json::Reader::Read(document, text);
  return document;
}

void requireRoundTrip(const json::UnknownElement& document) {
  const std::string text = written(document, false);
  require(text.find_first_of("()!\n") == std::string::npos, "a character that must be escaped");
  const json::UnknownElement back = readBack(text);
  require(back == document, "compact text reads back to another document");
  require(written(back, false) == text, "the same document is written in two ways");
  require(readBack(written(document, true)) == document, "pretty text reads back to another document");
}

// Changes every part of a copy, which must not reach the original.
void overwrite(json::UnknownElement& element) {
  if (element.getIf<json::Object>() != nullptr) {
    for (json::Object::Member& member : static_cast<json::Object&>(element)) {
      overwrite(member.element);
    }
  } else if (element.getIf<json::Array>() != nullptr) {
    for (json::UnknownElement& part : static_cast<json::Array&>(element)) {
      overwrite(part);
    }
  } else {
    static_cast<json::String&>(element).Value() += "changed";
  }
}

void requireIndependentCopies(json::UnknownElement& document) {
  const std::string text = written(document, false);
  json::UnknownElement copy = document;
  overwrite(copy);
  require(written(document, false) == text, "a change of a copy reached the original");
  const std::string changed = written(copy, false);
  const json::UnknownElement copyOfChanged = copy;
  overwrite(copy);
  require(written(copyOfChanged, false) == changed, "a change of the original reached a copy");
}

void requireDiagnosis(const char* message, const json::Reader::Location& location, std::size_t size) {
  require(std::strcmp(message, json::detail::kNoDiagnosis) != 0, "a rejected text with nothing wrong in it");
  require(location.m_nDocOffset <= size && location.m_nLineOffset <= location.m_nDocOffset &&
              location.m_nLine <= location.m_nDocOffset,
          "a location outside the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  json::UnknownElement document;
  try {
    json::Reader::Read(document, text);
  } catch (const json::Reader::ScanException& error) {
    requireDiagnosis(error.what(), error.m_locError, size);
    return 0;
  } catch (const json::Reader::ParseException& error) {
    requireDiagnosis(error.what(), error.m_locTokenBegin, size);
    requireDiagnosis(error.what(), error.m_locTokenEnd, size);
    return 0;
  }
  requireRoundTrip(document);
  requireIndependentCopies(document);
  return 0;
}
