#include "slp/agent/ReplyWriter.h"

#include "slp/wire/Codec.h"

namespace slp::agent {

namespace {

// Positions in a message (RFC 2608, sections 4.3, 8 and 8.2).
constexpr std::size_t kLengthAt = 2;
constexpr std::size_t kFlagsAt = 5;
constexpr char kOverflowFlag = static_cast<char>(0x80);
constexpr std::size_t kHeaderWithoutLanguage = 14;
constexpr std::size_t kErrorSize = 2;
/// A reserved byte, the lifetime, the length of the URL, and the number of authentication blocks.
constexpr std::size_t kEntryWithoutUrl = 6;
constexpr std::size_t kMaxEntries = 65'535;

void appendNumber(std::string& out, std::size_t value) {
  out += static_cast<char>(value >> 8 & 0xFF);
  out += static_cast<char>(value & 0xFF);
}

}  // namespace

ServiceReplyWriter::ServiceReplyWriter(const wire::Header& header, std::size_t limit, std::string& out)
    : mLimit(limit), mOut(out), mCountPosition(kHeaderWithoutLanguage + header.language.size() + kErrorSize) {
  mOut.clear();
  mWritten = wire::encode(header, wire::ServiceReply{}, mOut);
}

bool ServiceReplyWriter::add(std::string_view url, std::uint16_t lifetime) {
  if (!mWritten) return false;
  if (mOut.size() + kEntryWithoutUrl + url.size() > mLimit || mCount == kMaxEntries) {
    mOverflow = true;
    mOut[kFlagsAt] = static_cast<char>(mOut[kFlagsAt] | kOverflowFlag);
    return false;
  }
  mOut += '\0';
  appendNumber(mOut, lifetime);
  appendNumber(mOut, url.size());
  mOut += url;
  mOut += '\0';
  ++mCount;
  putNumber(kLengthAt, 3, mOut.size());
  putNumber(mCountPosition, 2, mCount);
  return true;
}

void ServiceReplyWriter::putNumber(std::size_t position, std::size_t width, std::size_t value) {
  for (std::size_t i = width; i-- > 0; value >>= 8)
    mOut[position + i] = static_cast<char>(value & 0xFF);
}

wire::Header replyTo(const wire::Header& request) {
  wire::Header header;
  header.xid = request.xid;
  header.language = request.language;
  return header;
}

bool write(const wire::Header& header, const wire::Body& body, std::size_t limit, std::string& out) {
  out.clear();
  if (wire::encode(header, body, out) && out.size() <= limit) return true;
  out.clear();
  return false;
}

}  // namespace slp::agent
