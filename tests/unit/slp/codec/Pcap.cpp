#include "Pcap.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string_view>
#include <tuple>

#include "slp/wire/Codec.h"
#include "slp/wire/MulticastGroups.h"

namespace slp::test {
namespace {

std::uint32_t littleEndian(std::string_view text, std::size_t at, std::size_t width) {
  if (at + width > text.size()) throw std::runtime_error("the capture is cut");
  std::uint32_t value = 0;
  for (std::size_t index = width; index-- > 0;)
    value = value << 8U | static_cast<std::uint8_t>(text[at + index]);
  return value;
}

std::uint32_t bigEndian(std::string_view text, std::size_t at, std::size_t width) {
  if (at + width > text.size()) throw std::runtime_error("the packet is cut");
  std::uint32_t value = 0;
  for (std::size_t index = 0; index < width; ++index)
    value = value << 8U | static_cast<std::uint8_t>(text[at + index]);
  return value;
}

std::string_view part(std::string_view text, std::size_t at, std::size_t size) {
  if (at > text.size() || size > text.size() - at) throw std::runtime_error("the packet is cut");
  return text.substr(at, size);
}

class CaptureReader {
 public:
  void frame(int number, std::string_view ethernet) {
    mFrame = number;
    constexpr std::uint32_t kIpv4 = 0x0800;
    if (bigEndian(ethernet, 12, 2) == kIpv4) packet(ethernet.substr(14));
  }

  std::vector<CapturedMessage> take() { return std::move(mMessages); }

 private:
  void packet(std::string_view ip) {
    const std::size_t header = (bigEndian(ip, 0, 1) & 0xFU) * 4;
    const std::string_view payload = part(ip, header, bigEndian(ip, 2, 2) - header);
    const std::string addresses(part(ip, 12, 8));
    const std::uint32_t fragment = bigEndian(ip, 6, 2);
    const bool more = (fragment & 0x2000U) != 0;
    const std::size_t offset = (fragment & 0x1FFFU) * 8;
    const std::uint32_t protocol = bigEndian(ip, 9, 1);
    if (!more && offset == 0) return transport(protocol, addresses, payload);
    // The fragments of these captures come in their order.
    std::string& datagram = mFragments[{addresses, bigEndian(ip, 4, 2)}];
    if (datagram.size() != offset) throw std::runtime_error("a fragment is missing");
    datagram.append(payload);
    if (!more) transport(protocol, addresses, datagram);
  }

  void transport(std::uint32_t protocol, const std::string& addresses, std::string_view segment) {
    constexpr std::uint32_t kTcp = 6;
    constexpr std::uint32_t kUdp = 17;
    if (protocol != kTcp && protocol != kUdp) return;
    if (bigEndian(segment, 0, 2) != wire::kPort && bigEndian(segment, 2, 2) != wire::kPort) return;
    if (protocol == kUdp) {
      mMessages.push_back({mFrame, std::string(part(segment, 8, bigEndian(segment, 4, 2) - 8))});
      return;
    }
    const std::size_t header = (bigEndian(segment, 12, 1) >> 4U) * 4;
    stream(addresses + std::string(segment.substr(0, 4)), bigEndian(segment, 4, 4), segment.substr(header));
  }

  void stream(const std::string& key, std::uint32_t sequence, std::string_view data) {
    if (data.empty()) return;
    auto [found, isNew] = mStreams.try_emplace(key);
    Stream& stream = found->second;
    if (!isNew && stream.next != sequence) throw std::runtime_error("a segment is missing");
    stream.next = sequence + static_cast<std::uint32_t>(data.size());
    stream.waiting.append(data);
    while (const auto length = wire::messageLength(wire::bytesOf(stream.waiting))) {
      if (*length == 0) throw std::runtime_error("a stream of something else");
      if (*length > stream.waiting.size()) break;
      mMessages.push_back({mFrame, stream.waiting.substr(0, *length)});
      stream.waiting.erase(0, *length);
    }
  }

  struct Stream {
    std::uint32_t next = 0;
    std::string waiting;
  };
  int mFrame = 0;
  std::map<std::pair<std::string, std::uint32_t>, std::string> mFragments;
  std::map<std::string, Stream> mStreams;
  std::vector<CapturedMessage> mMessages;
};

}  // namespace

std::vector<CapturedMessage> readCapture(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  constexpr std::uint32_t kMagic = 0xA1B2C3D4;
  constexpr std::uint32_t kEthernet = 1;
  if (littleEndian(content, 0, 4) != kMagic || littleEndian(content, 20, 4) != kEthernet)
    throw std::runtime_error("not a capture of Ethernet: " + path);
  CaptureReader reader;
  std::size_t at = 24;
  for (int number = 1; at < content.size(); ++number) {
    const std::size_t size = littleEndian(content, at + 8, 4);
    reader.frame(number, part(content, at + 16, size));
    at += 16 + size;
  }
  return reader.take();
}

std::string capturePath(int number) {
  const std::string prefix = (number < 10 ? "0" : "") + std::to_string(number) + "_";
  for (const auto& entry : std::filesystem::directory_iterator(SLP_CAPTURES))
    if (entry.path().filename().string().starts_with(prefix)) return entry.path().string();
  throw std::runtime_error("no capture has the number " + std::to_string(number));
}

}  // namespace slp::test
