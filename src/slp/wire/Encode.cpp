#include <span>

#include "slp/wire/AuthBlocks.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Cursor.h"
#include "slp/wire/Layout.h"
#include "slp/wire/Limits.h"

namespace slp::wire {
namespace {

/// Writes the fields of a message, in the order of the layout.
class FieldWriter {
 public:
  template <class T>
  using In = const T;

  explicit FieldWriter(Writer& writer) : mWriter(writer) {}

  void number(std::uint32_t value) { mWriter.u32(value); }
  void text(std::string_view value) { mWriter.text(value); }

  void auth(const AuthBlocks& value) {
    Reader reader(bytesOf(value.bytes));
    skipAuthBlocks(reader, value.count);
    if (reader.failed() || reader.remaining() != 0) mWriter.fail();
    mWriter.u8(value.count);
    mWriter.bytes(value.bytes);
  }

  void entry(const UrlEntry& value) {
    mWriter.u8(0);  // reserved
    mWriter.u16(value.lifetime);
    text(value.url);
    auth(value.auth);
  }

  void entries(std::span<const UrlEntry> values) {
    if (values.size() > 0xFFFF) return mWriter.fail();
    mWriter.u16(static_cast<std::uint16_t>(values.size()));
    for (const UrlEntry& value : values)
      entry(value);
  }

  void namingAuthority(const std::optional<std::string_view>& value) {
    if (!value) return mWriter.u16(kNoNamingAuthority);
    if (value->size() >= kNoNamingAuthority) mWriter.fail();
    text(*value);
  }

  /// We always write the whole message, even behind an error.
  bool endsWithError(ErrorCode value) {
    mWriter.u16(static_cast<std::uint16_t>(value));
    return false;
  }

 private:
  Writer& mWriter;
};

void writeHeader(Writer& writer, const Header& header, Function function) {
  if (header.language.size() > limits::kMaxLanguageTag) writer.fail();
  writer.u8(kVersion);
  writer.u8(static_cast<std::uint8_t>(function));
  writer.u24(0);  // the length, once it is known
  const unsigned flags = (header.overflow ? kOverflowFlag : 0U) | (header.fresh ? kFreshFlag : 0U) |
                         (header.multicast ? kMulticastFlag : 0U);
  writer.u16(static_cast<std::uint16_t>(flags));
  writer.u24(0);  // the first extension, if there is one
  writer.u16(header.xid);
  writer.text(header.language);
}

void writeExtensions(Writer& writer, std::span<const Extension> extensions) {
  if (extensions.size() > limits::kMaxExtensions) writer.fail();
  std::size_t link = kExtensionPosition;
  for (const Extension& extension : extensions) {
    if (writer.failed()) return;
    writer.overwriteU24(link, static_cast<std::uint32_t>(writer.position()));
    writer.u16(extension.id);
    link = writer.position();
    writer.u24(0);
    writer.bytes(extension.data);
  }
}

bool encode(const Header& header, const Body& body, std::span<const Extension> extensions, std::string& out) {
  Writer writer(out);
  std::visit(
      [&](const auto& message) {
        writeHeader(writer, header, message.kFunction);
        FieldWriter fields(writer);
        visit(fields, message);
      },
      body);
  writeExtensions(writer, extensions);
  if (writer.failed()) {
    writer.undo();
    return false;
  }
  writer.overwriteU24(kLengthPosition, static_cast<std::uint32_t>(writer.position()));
  return true;
}

}  // namespace

bool encode(const Message& message, std::string& out) {
  return encode(message.header, message.body, message.extensions, out);
}

bool encode(const Header& header, const Body& body, std::string& out) {
  return encode(header, body, {}, out);
}

}  // namespace slp::wire
