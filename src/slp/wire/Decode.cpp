#include <array>
#include <utility>

#include "slp/wire/AuthBlocks.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Cursor.h"
#include "slp/wire/Layout.h"
#include "slp/wire/Limits.h"

namespace slp::wire {
namespace {

/// Fills the fields of a message, in the order of the layout.
class FieldReader {
 public:
  template <class T>
  using In = T;

  explicit FieldReader(Reader& reader) : mReader(reader) {}

  void number(std::uint32_t& value) { value = mReader.u32(); }
  void text(std::string_view& value) { value = mReader.text(); }

  void auth(AuthBlocks& value) {
    value.count = mReader.u8();
    const std::size_t start = mReader.position();
    skipAuthBlocks(mReader, value.count);
    value.bytes = mReader.since(start);
  }

  void entry(UrlEntry& value) {
    mReader.u8();  // reserved
    value.lifetime = mReader.u16();
    text(value.url);
    auth(value.auth);
  }

  void entries(std::vector<UrlEntry>& values) {
    constexpr std::size_t kMinEntry = 6;
    const std::size_t count = mReader.u16();
    // Memory is only taken for as many as can be there.
    if (count > mReader.remaining() / kMinEntry) return mReader.fail();
    values.resize(count);
    for (UrlEntry& value : values) {
      entry(value);
      if (mReader.failed()) return;
    }
  }

  void namingAuthority(std::optional<std::string_view>& value) {
    const std::uint16_t length = mReader.u16();
    if (length != kNoNamingAuthority) value.emplace(mReader.bytes(length));
  }

  /// Section 7: what follows an error code need not be there.
  bool endsWithError(ErrorCode& value) {
    value = static_cast<ErrorCode>(mReader.u16());
    return value != ErrorCode::kOk && mReader.remaining() == 0;
  }

 private:
  Reader& mReader;
};

template <class Alternative>
void readBody(Reader& reader, Body& body) {
  FieldReader fields(reader);
  visit(fields, body.emplace<Alternative>());
}

using BodyReader = void (*)(Reader&, Body&);

template <std::size_t... Index>
constexpr std::array<BodyReader, sizeof...(Index)> bodyReaders(std::index_sequence<Index...> /*indices*/) {
  static_assert(((static_cast<std::size_t>(std::variant_alternative_t<Index, Body>::kFunction) == Index + 1) && ...),
                "the bodies stand in the order of their function numbers");
  return {readBody<std::variant_alternative_t<Index, Body>>...};
}

constexpr auto kBodyReaders = bodyReaders(std::make_index_sequence<std::variant_size_v<Body>>{});

struct RawHeader {
  Header header;
  Function function{};
  std::size_t length = 0;
  std::size_t firstExtension = 0;
  std::size_t end = 0;
};

/// False when the bytes end inside the header, or its language tag is nobody's.
bool readHeader(std::span<const std::byte> bytes, RawHeader& raw) {
  Reader reader(bytes);
  reader.u8();
  raw.function = static_cast<Function>(reader.u8());
  raw.length = reader.u24();
  const std::uint16_t flags = reader.u16();  // reserved ones are passed over
  raw.header.overflow = (flags & kOverflowFlag) != 0;
  raw.header.fresh = (flags & kFreshFlag) != 0;
  raw.header.multicast = (flags & kMulticastFlag) != 0;
  raw.firstExtension = reader.u24();
  raw.header.xid = reader.u16();
  raw.header.language = reader.text();
  raw.end = reader.position();
  return !reader.failed() && raw.header.language.size() <= limits::kMaxLanguageTag;
}

bool isMandatory(std::uint16_t extension) {
  return extension >= 0x4000 && extension <= 0x7FFF;
}

/// Follows the chain, which must go forward and end inside the message. Each extension reaches to the next.
ErrorCode readExtensions(std::span<const std::byte> bytes, std::size_t offset, std::vector<Extension>& extensions) {
  ErrorCode error = ErrorCode::kOk;
  while (offset != 0) {
    if (offset > bytes.size() || extensions.size() == limits::kMaxExtensions) return ErrorCode::kParseError;
    Reader reader(bytes.subspan(offset));
    const std::uint16_t id = reader.u16();
    const std::size_t next = reader.u24();
    const std::size_t end = next == 0 ? bytes.size() : next;
    if (reader.failed() || end < offset + kMinExtension) return ErrorCode::kParseError;
    const std::string_view data = reader.bytes(end - offset - kMinExtension);
    if (reader.failed()) return ErrorCode::kParseError;
    if (isMandatory(id)) error = ErrorCode::kOptionNotUnderstood;
    extensions.push_back({id, data});
    offset = next;
  }
  return error;
}

/// What follows the header; kOk when it is in order.
ErrorCode readRest(std::span<const std::byte> bytes, const RawHeader& raw, Message& message) {
  if (raw.length != bytes.size()) return ErrorCode::kParseError;
  const std::size_t index = static_cast<std::size_t>(raw.function) - 1;
  if (index >= kBodyReaders.size()) return ErrorCode::kMessageNotSupported;
  const std::size_t end = raw.firstExtension == 0 ? bytes.size() : raw.firstExtension;
  if (end < raw.end || end > bytes.size()) return ErrorCode::kParseError;
  Reader reader(bytes.subspan(raw.end, end - raw.end));
  kBodyReaders[index](reader, message.body);
  if (reader.failed() || reader.remaining() != 0) return ErrorCode::kParseError;
  return readExtensions(bytes, raw.firstExtension, message.extensions);
}

}  // namespace

std::variant<Message, Rejected> decode(std::span<const std::byte> bytes) {
  std::variant<Message, Rejected> result;
  if (bytes.empty() || std::to_integer<std::uint8_t>(bytes.front()) != kVersion) {
    const ErrorCode error = bytes.empty() ? ErrorCode::kParseError : ErrorCode::kVersionNotSupported;
    result.emplace<Rejected>(Rejected{error, std::nullopt, {}});
    return result;
  }
  RawHeader raw;
  if (!readHeader(bytes, raw)) {
    result.emplace<Rejected>();
    return result;
  }
  Message& message = std::get<Message>(result);
  message.header = raw.header;
  const ErrorCode error = readRest(bytes, raw, message);
  if (error != ErrorCode::kOk) result.emplace<Rejected>(Rejected{error, raw.header, raw.function});
  return result;
}

std::optional<std::size_t> messageLength(std::span<const std::byte> bytes) {
  Reader reader(bytes);
  const std::uint8_t version = reader.u8();
  reader.u8();
  const std::size_t length = reader.u24();
  if (reader.failed()) return std::nullopt;
  return version != kVersion || length < kMinHeader ? 0 : length;
}

std::span<const std::byte> bytesOf(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

}  // namespace slp::wire
