#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "slp/wire/Codec.h"

// What is read is written, and read back as an equal message; what is rejected says why.
namespace {

using namespace slp::wire;

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "slp_message_fuzz: " << what << '\n';
  std::abort();
}

void requireRoundTrip(const Message& message) {
  std::string bytes;
  require(encode(message, bytes), "a message that was read cannot be written");
  require(messageLength(bytesOf(bytes)) == bytes.size(), "a message does not say its own length");
  const auto back = decode(bytesOf(bytes));
  require(std::holds_alternative<Message>(back), "a message that was written cannot be read");
  require(std::get<Message>(back) == message, "a message is read back as another");
  std::string again;
  require(encode(std::get<Message>(back), again) && again == bytes, "the same message is written in two ways");
}

void requireReason(const Rejected& rejection, std::span<const std::byte> bytes) {
  require(rejection.error != ErrorCode::kOk, "a message was rejected for nothing");
  if (!rejection.header) return;
  // The views lie inside what was read.
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const std::string_view language = rejection.header->language;
  require(language.empty() || text.find(language) != std::string_view::npos, "a language that is not there");
  std::string answer;
  require(encode(*rejection.header, ServiceAcknowledge{rejection.error}, answer), "an error cannot be answered");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  const auto result = decode(bytes);
  if (const auto* message = std::get_if<Message>(&result)) {
    require(messageLength(bytes) == size, "a message that does not fill its bytes was read");
    requireRoundTrip(*message);
  } else {
    requireReason(std::get<Rejected>(result), bytes);
  }
  return 0;
}
