#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "slp/wire/Escape.h"

namespace {

using namespace slp::wire;
using Result = std::optional<std::string>;

struct Row {
  std::string_view name;
  std::string_view text;
  TextKind kind;
  Result expected;
};

TEST(Escape, IsMadeOfReservedCharacters) {
  const Row rows[] = {
      {"nothing", "", TextKind::kValue, ""},
      {"plain text", "Some String", TextKind::kValue, "Some String"},
      {"all of them", "(),\\!<=>~", TextKind::kValue, "\\28\\29\\2c\\5c\\21\\3c\\3d\\3e\\7e"},
      {"all of them in a tag", "(),\\!<=>~", TextKind::kTag, "\\28\\29\\2c\\5c\\21\\3c\\3d\\3e\\7e"},
      {"control characters", "a\x01\t\x7F", TextKind::kValue, "a\\01\\09\\7f"},
      {"what comes next to them", "'*+-;?@[]^`{|}_", TextKind::kValue, "'*+-;?@[]^`{|}_"},
      {"bytes beyond ASCII", "\xC3\xA4\xFF", TextKind::kValue, "\xC3\xA4\xFF"},
      {"a NUL", std::string_view("\0", 1), TextKind::kValue, "\\00"},
      {"a control character in a tag", "a\x01", TextKind::kTag, "a\\01"},
      {"a tag with an underscore", "a_b", TextKind::kTag, std::nullopt},
      {"a tag with a star", "a*", TextKind::kTag, std::nullopt},
      {"a tag with a TAB", "a\tb", TextKind::kTag, std::nullopt},
      {"a tag with a CR", "\ra", TextKind::kTag, std::nullopt},
      {"a tag with a LF", "a\n", TextKind::kTag, std::nullopt},
  };
  for (const Row& row : rows)
    EXPECT_EQ(escape(row.text, row.kind), row.expected) << row.name;
}

TEST(Escape, IsTakenBack) {
  const Row rows[] = {
      {"nothing", "", TextKind::kValue, ""},
      {"plain text", "Some String", TextKind::kTag, "Some String"},
      {"either case of digits", "\\2c\\2C\\5c\\5C", TextKind::kValue, ",,\\\\"},
      {"an escape of an escape", "\\5c2c", TextKind::kValue, "\\2c"},
      {"an opaque value", "\\FF\\00\\41", TextKind::kValue, "\\FF\\00\\41"},
      {"an opaque value in small digits", "\\ff\\00", TextKind::kValue, "\\ff\\00"},
      {"raw reserved characters", "a(b)=c", TextKind::kValue, "a(b)=c"},
      {"a cut escape", "a\\2", TextKind::kValue, std::nullopt},
      {"a backslash at the end", "a\\", TextKind::kValue, std::nullopt},
      {"digits that are none", "\\2g", TextKind::kValue, std::nullopt},
      {"a digit that is none", "\\g2", TextKind::kValue, std::nullopt},
      {"a character that is not reserved", "\\41", TextKind::kValue, std::nullopt},
      {"an opaque start within a text", "a\\ff", TextKind::kValue, std::nullopt},
      {"an opaque tag", "\\FF\\00", TextKind::kTag, std::nullopt},
      {"a tag with an underscore", "a_b", TextKind::kTag, std::nullopt},
      {"a tag with a star", "a*b", TextKind::kTag, std::nullopt},
      {"a tag with an escaped TAB", "a\\09b", TextKind::kTag, std::nullopt},
      {"a value with an escaped TAB", "a\\09b", TextKind::kValue, "a\tb"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(unescape(row.text, row.kind), row.expected) << row.name;
}

TEST(Escape, GivesBackEveryByte) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text = {'a', static_cast<char>(byte), 'b'};
    const Result escaped = escape(text, TextKind::kValue);
    ASSERT_TRUE(escaped.has_value()) << byte;
    EXPECT_EQ(unescape(*escaped, TextKind::kValue), text) << byte;
    EXPECT_EQ(unescapeLeniently(*escaped), text) << byte;
    const Result tag = escape(text, TextKind::kTag);
    EXPECT_EQ(tag.has_value(), std::string_view("\r\n\t_*").find(text[1]) == std::string_view::npos) << byte;
    EXPECT_EQ(unescape(tag.value_or(""), TextKind::kTag), tag.has_value() ? text : "") << byte;
  }
}

TEST(Escape, OfAStrangerIsTakenBackAsFarAsItIsOne) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"\\41\\2c", "A,"}, {"a\\", "a\\"}, {"\\2", "\\2"}, {"\\u0028", "\\u0028"}, {"\\\\2c", "\\,"}, {"", ""}};
  for (const auto& [text, expected] : rows)
    EXPECT_EQ(unescapeLeniently(text), expected) << text;
}

}  // namespace
