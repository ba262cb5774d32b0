#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "slp/wire/AttributeList.h"
#include "slp/wire/Limits.h"

namespace {

using namespace slp::wire;
using namespace std::string_literals;

/// "tag:i1,i2;keyword;" with a letter for the kind of each value, in order of tags.
std::string described(const AttributeList& list) {
  std::string text;
  for (const Attribute& attribute : list.attributes()) {
    text += attribute.tag;
    char separator = ':';
    for (const AttributeValue& value : attribute.values) {
      text += separator;
      separator = ',';
      switch (value.kind) {
        case ValueKind::kInteger:
          text += "i" + std::to_string(value.integer);
          break;
        case ValueKind::kBoolean:
          text += value.integer != 0 ? "btrue" : "bfalse";
          break;
        case ValueKind::kString:
          text.append("s").append(value.text);
          break;
        case ValueKind::kOpaque:
          text.append("o").append(value.text);
          break;
      }
    }
    text += ';';
  }
  return text;
}

struct Row {
  std::string_view name;
  std::string_view list;
  std::string expected;
};

TEST(AttributeList, ReadsWhatKeepsTheRules) {
  const Row rows[] = {
      {"nothing", "", ""},
      {"integers", "(a=1,2,3)", "a:i1,i2,i3;"},
      {"the ends of integers", "(a=-2147483648,2147483647,0,-0,007)", "a:i-2147483648,i2147483647,i0,i0,i7;"},
      {"numbers beyond them", "(a=2147483648,-2147483649)", "a:s2147483648,s-2147483649;"},
      {"what is no integer", "(a=+1,1.5,0x1,-,1 2)", "a:s+1,s1.5,s0x1,s-,s1 2;"},
      {"booleans", "(b=true,FALSE,True)", "b:btrue,bfalse,btrue;"},
      {"an opaque value", "(c=\\FF\\00\\01)", "c:o\0\x01;"s},
      {"an empty opaque value", "(c=\\ff)", "c:o;"},
      {"an opaque value is not folded", "(c=\\FF\\41\\20\\20)", "c:oA  ;"},
      {"a keyword", "keyword", "keyword;"},
      {"white space", "(d= Some  String )", "d:ssome string;"},
      {"white space around a number", "(d= 5 , true )", "d:i5,btrue;"},
      {"an escaped comma", "(e=x\\2cy,z)", "e:sx,y,sz;"},
      {"escaped parentheses", "(e=\\28x\\29)", "e:s(x);"},
      {"an escaped tag", "(a\\2cb=1)", "a,b:i1;"},
      {"a tag with white space", "( Some  Tag =1)", "some tag:i1;"},
      {"all together", "(a=1,2,3),(b=true),keyword,(c=\\FF\\00\\01),(d= Some  String ),(e=x\\2cy)",
       "a:i1,i2,i3;b:btrue;c:o\0\x01;d:ssome string;e:sx,y;keyword;"s},
      {"another order", "z,(y=1),x", "x;y:i1;z;"},
      {"white space between the terms", " (a=1) , key word ,\r\n(b=2) ", "a:i1;b:i2;key word;"},
      {"a tag twice", "(a=1),(b=2),(A=3)", "a:i1,i3;b:i2;"},
      {"a tag as a keyword and with a value", "a,(a=1)", "a:i1;"},
      {"bytes beyond ASCII", "(\xC3\xA4=\xC3\x96)", "\xC3\xA4:s\xC3\x96;"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(described(AttributeList(row.list)), row.expected) << row.name;
}

TEST(AttributeList, ReadsWhatItCanOfTheRest) {
  const Row rows[] = {
      {"terms joined by a doubled parenthesis and JSON", R"~((ip=10.0.0.5))(server={"a":[1,2],"b":"x(y)"}))~",
       R"~(ip:s10.0.0.5;server:s{"a":[1,s2],s"b":"x(y)"};)~"},
      {"JSON with an open parenthesis in it", R"~((ip=1))(server={"a":"x(y"}))~", R"~(ip:i1;server:s{"a":"x(y"};)~"},
      {"JSON with a closing parenthesis in it", R"~((server={"a":"x)"}),(b=1))~", R"~(b:i1;server:s{"a":"x;)~"},
      {"terms without commas", "(a=1)(b=2)", "a:i1;b:i2;"},
      {"no parenthesis at the end", "(a=1),(b=2", "a:i1;"},
      {"an attribute that never ends", "(a=1(b=2)", "b:i2;"},
      {"a parenthesis that never closes", "(a=x(y),(b=2)", "a:sx(y;b:i2;"},
      {"nested attributes belong to the outer one", "(a=x(b=2)y),c", "a:sx(b=2)y;c;"},
      {"no value", "(a=)", "a:s;"},
      {"empty values", "(a=,1,)", "a:s,i1,s;"},
      {"no tag", "(=1),( =2),(a=3)", "a:i3;"},
      {"no equals sign", "(a),(b=1)", "b:i1;"},
      {"reserved characters in a tag", "(a<=1),(!b=1),(c,d=1),(e*=1),(f=1)", "f:i1;"},
      {"an underscore in a tag", "(a_b=1),c_d", "a_b:i1;c_d;"},
      {"an equals sign in a value", "(a=b=c)", "a:sb=c;"},
      {"a text that is no keyword", "x)y,\"z!,(a=1)q,r(b=2)", "a:i1;b:i2;"},
      {"empty terms", ",,(a=1),, ,b,", "a:i1;b;"},
      {"a broken escape", "(a=x\\2,\\zz,\\)", "a:sx\\2,s\\zz,s\\;"},
      {"only parentheses", "((()))())(", ""},
      {"a NUL", std::string_view("(a=\0),(b\0=1),c", 14), "a:s\0;c;"s},
  };
  for (const Row& row : rows)
    EXPECT_EQ(described(AttributeList(row.list)), row.expected) << row.name;
}

TEST(AttributeList, FindsAnAttributeByItsFoldedTag) {
  const AttributeList list("(Ip=10.0.0.5),Keyword,(x=1,2)");
  ASSERT_NE(list.find("ip"), nullptr);
  EXPECT_EQ(list.find("ip")->values.front().text, "10.0.0.5");
  EXPECT_EQ(list.find("x")->values.size(), 2u);
  EXPECT_TRUE(list.find("keyword")->values.empty());
  EXPECT_EQ(list.find("Ip"), nullptr);
  EXPECT_EQ(list.find("i"), nullptr);
  EXPECT_EQ(list.find(""), nullptr);
  EXPECT_EQ(AttributeList().find("a"), nullptr);
}

TEST(AttributeList, OutlivesItsTextAndItsMoves) {
  std::string text = "(a=a value that is longer than a short one),(b=2),c";
  AttributeList first(text);
  text.assign(text.size(), 'x');
  const AttributeList second(std::move(first));
  EXPECT_EQ(described(second), "a:sa value that is longer than a short one;b:i2;c;");
  EXPECT_GT(second.bytes(), sizeof second);
}

TEST(AttributeList, SeesNoMoreValuesThanItsLimit) {
  std::string values;
  std::string keywords;
  for (std::size_t i = 0; i < slp::limits::kMaxAttributeValues; ++i) {
    values += "1,";
    keywords += "k" + std::to_string(i) + ",";
  }
  const AttributeList many("(a=" + values + "2),(b=1)");
  ASSERT_EQ(many.attributes().size(), 1u);
  EXPECT_EQ(many.attributes().front().values.size(), slp::limits::kMaxAttributeValues);
  EXPECT_EQ(AttributeList(keywords + "last").attributes().size(), slp::limits::kMaxAttributeValues);
}

std::string repeated(std::string_view text, std::size_t bytes) {
  std::string result;
  while (result.size() < bytes)
    result += text;
  return result;
}

// Each of these would take minutes if a part of it were read again for each of its terms.
TEST(AttributeList, ReadsHostileListsInOneGo) {
  for (const std::string_view piece :
       {"(", ")", "(a", "(a=", "(a=(", "(a=((b", "(a=x(y", "(a=1", "a", ",", "(a=)", "((a=1)", "(a=,", "\\", "(a=\\"}) {
    const std::string text = repeated(piece, 1'000'000);
    const AttributeList list(text);
    EXPECT_LE(list.attributes().size(), slp::limits::kMaxAttributeValues) << piece;
    const AttributeList closed(text + std::string(1'000'000, ')'));
    EXPECT_LE(closed.attributes().size(), slp::limits::kMaxAttributeValues) << piece;
    bool cut = false;
    EXPECT_LE(mergeAttributes({text, "(z=1)"}, 65'535, cut).size(), 65'535u) << piece;
    EXPECT_LE(selectAttributes(text, "a,b*").size(), text.size() * 2) << piece;
  }
}

}  // namespace
