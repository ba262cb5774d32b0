#pragma once

#include <iosfwd>
#include <string>

#include "json/elements.h"

namespace json {

// Writes documents: members in their order, one line without blanks, or, when `pretty`, indented with TABs and with
// " : " between name and value. What is read back from it is equal to what was written. No state, any thread.
//
// Numbers: an integral value within 2^53 is written as its digits, any other in the shortest form that reads back to
// the same double; what is not finite, which JSON cannot say, as null.
// Strings: beside what JSON demands, "(", ")" and "!" are written as \u escapes, because the text travels inside
// formats that give these characters a meaning. What is not UTF-8 is replaced by U+FFFD, so the text can be read.
class Writer {
 public:
  static void Write(const Object& object, std::ostream& output, bool pretty = false);
  static void Write(const Array& array, std::ostream& output, bool pretty = false);
  static void Write(const String& string, std::ostream& output, bool pretty = false);
  static void Write(const Number& number, std::ostream& output, bool pretty = false);
  static void Write(const Boolean& boolean, std::ostream& output, bool pretty = false);
  static void Write(const Null& null, std::ostream& output, bool pretty = false);
  static void Write(const UnknownElement& element, std::ostream& output, bool pretty = false);

  // These append to the text.
  static void Write(const Object& object, std::string& output, bool pretty = false);
  static void Write(const Array& array, std::string& output, bool pretty = false);
  static void Write(const String& string, std::string& output, bool pretty = false);
  static void Write(const Number& number, std::string& output, bool pretty = false);
  static void Write(const Boolean& boolean, std::string& output, bool pretty = false);
  static void Write(const Null& null, std::string& output, bool pretty = false);
  static void Write(const UnknownElement& element, std::string& output, bool pretty = false);
};

}  // namespace json
