#include "json/reader.h"

#include <array>
#include <istream>

#include <boost/json/basic_parser_impl.hpp>

#include "json/builder.h"
#include "json/diagnosis.h"
#include "json/tokens.h"

namespace json {
namespace {

using Parser = boost::json::basic_parser<detail::DocumentBuilder>;

UnknownElement parse(std::string_view text) {
  if (text.size() > Reader::kMaxDocumentBytes) {
    throw Reader::ParseException("document too large", Reader::Location(), Reader::Location());
  }
  boost::json::parse_options options;
  options.max_depth = Reader::kMaxDepth;
  Parser parser(options);
  boost::json::error_code error;
  const std::size_t consumed = parser.write_some(false, text.data(), text.size(), error);
  if (error || consumed != text.size()) detail::throwDiagnosis(text, consumed);
  return std::move(parser.handler().document());
}

template <typename T>
void readInto(T& target, std::string_view text) {
  UnknownElement document = parse(text);
  if constexpr (std::same_as<T, UnknownElement>) {
    target = std::move(document);
  } else {
    if (document.getIf<T>() == nullptr) {
      const detail::Token first = detail::Scanner(text).next();
      throw Reader::ParseException("document of another type", detail::locate(text, first.begin),
                                   detail::locate(text, first.end));
    }
    target = std::move(static_cast<T&>(document));
  }
}

// Goes past the formatted layer of the stream, which is slow and may throw by its exception mask.
std::string contentOf(std::istream& input) {
  std::string text;
  if (!input.good() || input.rdbuf() == nullptr) return text;
  std::array<char, 4096> block;
  std::streamsize count = 0;
  while ((count = input.rdbuf()->sgetn(block.data(), block.size())) > 0) {
    text.append(block.data(), static_cast<std::size_t>(count));
    if (text.size() > Reader::kMaxDocumentBytes) break;
  }
  return text;
}

}  // namespace

void Reader::Read(Object& object, std::istream& input) {
  readInto(object, contentOf(input));
}
void Reader::Read(Array& array, std::istream& input) {
  readInto(array, contentOf(input));
}
void Reader::Read(String& string, std::istream& input) {
  readInto(string, contentOf(input));
}
void Reader::Read(Number& number, std::istream& input) {
  readInto(number, contentOf(input));
}
void Reader::Read(Boolean& boolean, std::istream& input) {
  readInto(boolean, contentOf(input));
}
void Reader::Read(Null& null, std::istream& input) {
  readInto(null, contentOf(input));
}
void Reader::Read(UnknownElement& element, std::istream& input) {
  readInto(element, contentOf(input));
}

void Reader::Read(Object& object, std::string_view text) {
  readInto(object, text);
}
void Reader::Read(Array& array, std::string_view text) {
  readInto(array, text);
}
void Reader::Read(String& string, std::string_view text) {
  readInto(string, text);
}
void Reader::Read(Number& number, std::string_view text) {
  readInto(number, text);
}
void Reader::Read(Boolean& boolean, std::string_view text) {
  readInto(boolean, text);
}
void Reader::Read(Null& null, std::string_view text) {
  readInto(null, text);
}
void Reader::Read(UnknownElement& element, std::string_view text) {
  readInto(element, text);
}

}  // namespace json
