#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "slp/agent/Responder.h"
#include "slp/wire/Codec.h"

namespace slp::agent {

inline const TimePoint kStart{std::chrono::hours(1)};

inline net::Address address(std::string_view text) {
  return net::Address::parse(text).value();
}

/// A neighbour on the same link, as a datagram of its comes in.
inline Source neighbour() {
  return {.from = {address("10.77.0.3"), 40'000},
          .ownAddress = address("10.77.0.1"),
          .onLink = true,
          .connection = kNoConnection,
          .interface = 2};
}

inline Source byMulticast(Source source = neighbour()) {
  source.sentToGroup = true;
  return source;
}

inline Source byTcp(Source source = neighbour()) {
  source.tcp = true;
  source.interface = 0;
  return source;
}

inline Source fromFar() {
  auto source = neighbour();
  source.from.address = address("192.0.2.1");
  source.onLink = false;
  return source;
}

inline Source fromLoopback() {
  return {.from = {address("127.0.0.1"), 40'000}, .ownAddress = address("127.0.0.1"), .onLink = true, .interface = 1};
}

/// A program of this machine with a connection of its own.
inline Source byConnection(Owner connection = kFirstConnection) {
  auto source = byTcp(fromLoopback());
  source.connection = connection;
  return source;
}

inline std::vector<net::Interface> interfaces() {
  return {
      {1, "lo", true, false, {{address("127.0.0.1"), 8}, {address("::1"), 128}}},
      {2, "eth0", false, true, {{address("10.77.0.1"), 24}, {address("2001:db8::1"), 64}, {address("fe80::1%2"), 64}}},
      {3, "eth1", false, true, {{address("10.88.0.1"), 24}, {address("fe80::2%3"), 64}}}};
}

inline Registration service(std::string url, std::string type = "service:wbem:https",
                            std::string attributes = "(a=1)") {
  return {std::move(url), std::move(type), "DEFAULT", std::move(attributes), "en", 900};
}

inline wire::Header request(std::string_view language = "en") {
  wire::Header header;
  header.xid = 0x1234;
  header.language = language;
  return header;
}

class ResponderTest : public testing::Test {
 protected:
  explicit ResponderTest(ResponderSettings settings = {}) : mResponder(mRegistry, std::move(settings)) {
    mResponder.setOwnAddresses(interfaces());
  }

  void add(const Registration& registration) {
    ASSERT_EQ(mRegistry.add(registration, kThisProcess, kStart), wire::ErrorCode::kOk);
  }

  /// The bytes of the answer; nothing when there is none.
  std::optional<std::string> answerTo(std::string_view bytes, const Source& source) {
    if (!mResponder.respond(wire::bytesOf(bytes), source, kStart, mReply)) return std::nullopt;
    return mReply;
  }

  static std::string encoded(const wire::Body& body, const wire::Header& header = request(),
                             std::vector<wire::Extension> extensions = {}) {
    std::string bytes;
    EXPECT_TRUE(wire::encode({header, body, std::move(extensions)}, bytes));
    return bytes;
  }

  /// What came back, taken apart. Checks what holds for every answer: it is whole, and it is for this request.
  template <class Reply>
  std::optional<Reply> ask(const wire::Body& body, const Source& source = neighbour(),
                           const wire::Header& header = request()) {
    const auto bytes = answerTo(encoded(body, header), source);
    return bytes ? taken<Reply>(*bytes, header) : std::nullopt;
  }

  template <class Reply>
  std::optional<Reply> taken(const std::string& bytes, const wire::Header& header = request()) {
    mTaken = bytes;
    const auto decoded = wire::decode(wire::bytesOf(mTaken));
    const auto* message = std::get_if<wire::Message>(&decoded);
    EXPECT_NE(message, nullptr) << "an answer that cannot be read";
    if (!message) return std::nullopt;
    EXPECT_EQ(message->header.xid, header.xid);
    EXPECT_EQ(message->header.language, header.language);
    EXPECT_FALSE(message->header.multicast);
    EXPECT_FALSE(message->header.fresh);
    mOverflow = message->header.overflow;
    const auto* reply = std::get_if<Reply>(&message->body);
    EXPECT_NE(reply, nullptr) << "an answer of another kind: " << message->body.index() + 1;
    return reply ? std::optional(*reply) : std::nullopt;
  }

  std::vector<std::string> urls(const wire::ServiceRequest& body, const Source& source = neighbour()) {
    std::vector<std::string> result;
    const auto reply = ask<wire::ServiceReply>(body, source);
    if (!reply) return {"(silence)"};
    EXPECT_EQ(reply->error, wire::ErrorCode::kOk);
    for (const auto& entry : reply->urls)
      result.emplace_back(entry.url);
    return result;
  }

  Registry mRegistry;
  Responder mResponder;
  bool mOverflow = false;  ///< of the last answer that was taken apart

 private:
  std::string mReply;
  std::string mTaken;  ///< keeps what the answer's views show
};

inline wire::ServiceRequest searchFor(std::string_view type, std::string_view predicate = "") {
  return {.previousResponders = {}, .serviceType = type, .scopes = "DEFAULT", .predicate = predicate, .spi = {}};
}

inline wire::AttributeRequest attributesOf(std::string_view urlOrType, std::string_view tags = "") {
  return {.previousResponders = {}, .url = urlOrType, .scopes = "DEFAULT", .tags = tags, .spi = {}};
}

inline wire::ServiceTypeRequest allTypes() {
  return {.previousResponders = {}, .namingAuthority = std::nullopt, .scopes = "DEFAULT"};
}

}  // namespace slp::agent
