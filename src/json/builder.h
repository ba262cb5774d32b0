#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/basic_parser.hpp>

#include "json/elements.h"

namespace json::detail {

// Builds a document out of the parser's events. Values under construction wait on two stacks until the end of their
// container says how many of them are its own.
class DocumentBuilder {
 public:
  using Text = boost::json::string_view;
  using Error = boost::json::error_code;

  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

  DocumentBuilder();

  UnknownElement& document() noexcept { return mDocument; }

  bool on_document_begin(Error&) { return true; }
  bool on_document_end(Error&) { return true; }
  bool on_object_begin(Error&);
  bool on_object_end(std::size_t size, Error& error);
  bool on_array_begin(Error&);
  bool on_array_end(std::size_t size, Error&);
  bool on_key_part(Text part, std::size_t, Error&) { return addPart(part); }
  bool on_key(Text rest, std::size_t, Error&);
  bool on_string_part(Text part, std::size_t, Error&) { return addPart(part); }
  bool on_string(Text rest, std::size_t, Error&);
  bool on_number_part(Text, Error&) { return true; }
  bool on_int64(std::int64_t value, Text text, Error&);
  bool on_uint64(std::uint64_t value, Text, Error&);
  bool on_double(double, Text text, Error& error);
  bool on_bool(bool value, Error&);
  bool on_null(Error&);
  bool on_comment_part(Text, Error&) { return true; }
  bool on_comment(Text, Error&) { return true; }

 private:
  bool addPart(Text part);
  void takeText(Text rest, std::string& text);
  void add(UnknownElement&& value);

  enum class Level : char { kObject, kArray };

  // A usual document is built without taking memory for the stacks.
  std::array<std::byte, 4096> mBuffer;
  std::pmr::monotonic_buffer_resource mMemory;
  std::pmr::vector<Level> mLevels;
  std::pmr::vector<Object::Member> mMembers;
  std::pmr::vector<UnknownElement> mElements;
  std::string mParts;
  UnknownElement mDocument;
};

}  // namespace json::detail
