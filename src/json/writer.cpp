#include "json/writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <ostream>
#include <string_view>

#include "json/utf8.h"

namespace json {
namespace {

constexpr double kLargestExactInteger = 9007199254740992.0;  // 2^53

// Appends to a string through a cursor of its own: the string is grown ahead and cut to what was written at the end.
class Output {
 public:
  explicit Output(std::string& text) : mText(text), mUsed(text.size()) {}
  ~Output() { mText.resize(mUsed); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Room for so many characters; what is written there counts once it is advanced over.
  char* room(std::size_t size) {
    if (mText.size() - mUsed < size) mText.resize(std::max({mUsed + size, 2 * mText.size(), kFirstSize}));
    return mText.data() + mUsed;
  }
  void advanceTo(const char* end) noexcept { mUsed = static_cast<std::size_t>(end - mText.data()); }

  void append(char c) {
    *room(1) = c;
    ++mUsed;
  }
  void append(std::string_view part) {
    std::memcpy(room(part.size()), part.data(), part.size());
    mUsed += part.size();
  }

 private:
  static constexpr std::size_t kFirstSize = 1024;

  std::string& mText;
  std::size_t mUsed;
};

enum class CharacterClass : char { kPlain, kEscaped, kMultibyte };

constexpr std::array<CharacterClass, 256> kCharacterClasses = [] {
  std::array<CharacterClass, 256> classes{};
  for (std::size_t c = 0; c < 0x20; ++c)
    classes[c] = CharacterClass::kEscaped;
  for (const char c : {'"', '\\', '(', ')', '!'})
    classes[static_cast<unsigned char>(c)] = CharacterClass::kEscaped;
  for (std::size_t c = 0x80; c < 0x100; ++c)
    classes[c] = CharacterClass::kMultibyte;
  return classes;
}();

constexpr std::size_t kLongestEscape = 6;

// These write at a place that has the room and return what follows it.
char* put(char* to, std::string_view part) noexcept {
  return std::copy(part.begin(), part.end(), to);
}

char* putEscape(char* to, char c) noexcept {
  constexpr std::string_view kMeanings = "\"\\\b\f\n\r\t";
  constexpr std::string_view kLetters = "\"\\bfnrt";
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  const std::size_t letter = kMeanings.find(c);
  if (letter != std::string_view::npos) {
    *to++ = '\\';
    *to++ = kLetters[letter];
    return to;
  }
  to = put(to, "\\u00");
  *to++ = kHexDigits[static_cast<unsigned char>(c) >> 4];
  *to++ = kHexDigits[static_cast<unsigned char>(c) & 0xF];
  return to;
}

// Appends the beginning of a text and returns how much of it that was.
std::size_t appendBeginning(Output& output, std::string_view text) {
  constexpr std::size_t kBlockSize = 256;
  constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";
  const std::size_t size = std::min(text.size(), kBlockSize);
  char* to = output.room(size * kLongestEscape);
  std::size_t at = 0;
  while (at < size) {
    const CharacterClass character = kCharacterClasses[static_cast<unsigned char>(text[at])];
    if (character == CharacterClass::kPlain) {
      *to++ = text[at++];
    } else if (character == CharacterClass::kEscaped) {
      to = putEscape(to, text[at++]);
    } else if (const std::size_t length = detail::utf8SequenceLength(text.substr(at)); length > 0) {
      to = put(to, text.substr(at, length));
      at += length;
    } else {
      to = put(to, kReplacementCharacter);
      ++at;
    }
  }
  output.advanceTo(to);
  return at;
}

void appendString(Output& output, std::string_view text) {
  output.append('"');
  while (!text.empty()) {
    text.remove_prefix(appendBeginning(output, text));
  }
  output.append('"');
}

void appendNumber(Output& output, double value) {
  constexpr std::size_t kLongestNumber = 32;
  if (!std::isfinite(value)) return output.append("null");
  if (value == 0 && std::signbit(value)) return output.append("-0");
  char* begin = output.room(kLongestNumber);
  char* end = begin + kLongestNumber;
  if (std::abs(value) <= kLargestExactInteger && value == std::trunc(value)) {
    output.advanceTo(std::to_chars(begin, end, static_cast<long long>(value)).ptr);
  } else {
    output.advanceTo(std::to_chars(begin, end, value).ptr);
  }
}

// Writes one document. Containers that are begun and not finished wait on a list, not on the stack.
class DocumentWriter {
 public:
  DocumentWriter(std::string& text, bool pretty) : mOutput(text), mPretty(pretty) { mOpen.reserve(kUsualDepth); }

  template <typename T>
  void write(const T& value) {
    begin(value);
    while (!mOpen.empty()) {
      continueInnermost();
    }
  }

 private:
  static constexpr std::size_t kUsualDepth = 16;

  // What is left of a container: a range of one of the two kinds.
  struct Open {
    const Object::Member* member = nullptr;
    const Object::Member* lastMember = nullptr;
    const UnknownElement* element = nullptr;
    const UnknownElement* lastElement = nullptr;
    bool isFirst = true;
  };

  void begin(const Null&) { mOutput.append("null"); }
  void begin(const Boolean& boolean) { mOutput.append(boolean.Value() ? "true" : "false"); }
  void begin(const Number& number) { appendNumber(mOutput, number.Value()); }
  void begin(const String& string) { appendString(mOutput, string.Value()); }
  void begin(const Array& array) {
    if (array.Empty()) return mOutput.append("[]");
    mOutput.append('[');
    mOpen.push_back({nullptr, nullptr, array.Begin(), array.End()});
  }
  void begin(const Object& object) {
    if (object.Empty()) return mOutput.append("{}");
    mOutput.append('{');
    mOpen.push_back({object.Begin(), object.End(), nullptr, nullptr});
  }
  void begin(const UnknownElement& element) {
    std::visit([this](const auto& value) { begin(value); }, detail::Access::value(element));
  }

  void continueInnermost() {
    Open& open = mOpen.back();
    if (open.member != open.lastMember) {
      separate(open);
      const Object::Member& member = *open.member++;
      appendString(mOutput, member.name);
      mOutput.append(mPretty ? std::string_view(" : ") : std::string_view(":"));
      begin(member.element);
    } else if (open.element != open.lastElement) {
      separate(open);
      begin(*open.element++);
    } else {
      const char end = open.member != nullptr ? '}' : ']';
      mOpen.pop_back();
      breakLine();
      mOutput.append(end);
    }
  }

  void separate(Open& open) {
    if (!open.isFirst) mOutput.append(',');
    open.isFirst = false;
    breakLine();
  }

  void breakLine() {
    if (!mPretty) return;
    mOutput.append('\n');
    for (std::size_t level = 0; level < mOpen.size(); ++level) {
      mOutput.append('\t');
    }
  }

  Output mOutput;
  bool mPretty;
  std::vector<Open> mOpen;
};

template <typename T>
void writeTo(std::string& output, const T& value, bool pretty) {
  DocumentWriter(output, pretty).write(value);
}

template <typename T>
void writeTo(std::ostream& output, const T& value, bool pretty) {
  std::string text;
  writeTo(text, value, pretty);
  output.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace

void Writer::Write(const Object& object, std::ostream& output, bool pretty) {
  writeTo(output, object, pretty);
}
void Writer::Write(const Array& array, std::ostream& output, bool pretty) {
  writeTo(output, array, pretty);
}
void Writer::Write(const String& string, std::ostream& output, bool pretty) {
  writeTo(output, string, pretty);
}
void Writer::Write(const Number& number, std::ostream& output, bool pretty) {
  writeTo(output, number, pretty);
}
void Writer::Write(const Boolean& boolean, std::ostream& output, bool pretty) {
  writeTo(output, boolean, pretty);
}
void Writer::Write(const Null& null, std::ostream& output, bool pretty) {
  writeTo(output, null, pretty);
}
void Writer::Write(const UnknownElement& element, std::ostream& output, bool pretty) {
  writeTo(output, element, pretty);
}

void Writer::Write(const Object& object, std::string& output, bool pretty) {
  writeTo(output, object, pretty);
}
void Writer::Write(const Array& array, std::string& output, bool pretty) {
  writeTo(output, array, pretty);
}
void Writer::Write(const String& string, std::string& output, bool pretty) {
  writeTo(output, string, pretty);
}
void Writer::Write(const Number& number, std::string& output, bool pretty) {
  writeTo(output, number, pretty);
}
void Writer::Write(const Boolean& boolean, std::string& output, bool pretty) {
  writeTo(output, boolean, pretty);
}
void Writer::Write(const Null& null, std::string& output, bool pretty) {
  writeTo(output, null, pretty);
}
void Writer::Write(const UnknownElement& element, std::string& output, bool pretty) {
  writeTo(output, element, pretty);
}

}  // namespace json
