#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

#include "json/elements.h"

namespace json {

// Reads one document of strict JSON in UTF-8 (RFC 8259; no byte order mark). The target is replaced by the document,
// or left as it was when reading throws. No state, any thread.
//
// A text is cut into tokens before their order is looked at: when it offends in both ways, the ScanException is what
// is thrown. A number is read to the nearest double; one too large for a double, or with an exponent beyond 1e9, is a
// ParseException, one too small is 0. A stream is read to its end, from its buffer.
class Reader {
 public:
  static constexpr std::size_t kMaxDepth = 256;                           // nested arrays and objects
  static constexpr std::size_t kMaxDocumentBytes = std::size_t{1} << 30;  // more is a ParseException

  // Counted from 0; offsets in bytes, lines ended by a line feed.
  struct Location {
    unsigned int m_nLine = 0;
    unsigned int m_nLineOffset = 0;
    unsigned int m_nDocOffset = 0;

    friend bool operator==(const Location&, const Location&) = default;
  };

  // A character or literal that no token can start or finish with, an unterminated string, a bad escape, or what is
  // not UTF-8.
  class ScanException : public Exception {
   public:
    ScanException(const std::string& message, const Location& error) : Exception(message), m_locError(error) {}

    // Where the offending character, literal, escape or unterminated string begins.
    Location m_locError;
  };

  // Tokens in an order that no document has, an unexpected end, a repeated member name, a malformed number, text after
  // the document, too deep nesting, or a document of another type than the target.
  class ParseException : public Exception {
   public:
    ParseException(const std::string& message, const Location& begin, const Location& end)
        : Exception(message), m_locTokenBegin(begin), m_locTokenEnd(end) {}

    // The offending token and what follows it at once; both are the end of the text when that came unexpectedly.
    Location m_locTokenBegin;
    Location m_locTokenEnd;
  };

  static void Read(Object& object, std::istream& input);
  static void Read(Array& array, std::istream& input);
  static void Read(String& string, std::istream& input);
  static void Read(Number& number, std::istream& input);
  static void Read(Boolean& boolean, std::istream& input);
  static void Read(Null& null, std::istream& input);
  static void Read(UnknownElement& element, std::istream& input);

  static void Read(Object& object, std::string_view text);
  static void Read(Array& array, std::string_view text);
  static void Read(String& string, std::string_view text);
  static void Read(Number& number, std::string_view text);
  static void Read(Boolean& boolean, std::string_view text);
  static void Read(Null& null, std::string_view text);
  static void Read(UnknownElement& element, std::string_view text);
};

}  // namespace json
