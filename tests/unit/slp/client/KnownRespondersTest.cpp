#include <gtest/gtest.h>

#include "FakeNetwork.h"
#include "slp/client/KnownResponders.h"
#include "slp/wire/Limits.h"

namespace slp::test {
namespace {

using client::KnownResponders;
using Endpoints = std::vector<net::Endpoint>;

net::Endpoint numbered(std::size_t number) {
  net::Endpoint one = endpoint("10.0.0.0");
  one.address.bytes[1] = static_cast<std::uint8_t>(number >> 16U);
  one.address.bytes[2] = static_cast<std::uint8_t>(number >> 8U);
  one.address.bytes[3] = static_cast<std::uint8_t>(number);
  return one;
}

TEST(KnownResponders, KeepsThoseOfEachSearchApart) {
  KnownResponders known;
  known.remember("a", numbered(1));
  known.remember("b", numbered(2));
  known.remember("a", numbered(3));
  EXPECT_EQ(known.of("a"), (Endpoints{numbered(1), numbered(3)}));
  EXPECT_EQ(known.of("b"), Endpoints{numbered(2)});
  EXPECT_EQ(known.of("c"), Endpoints{});
}

TEST(KnownResponders, KnowsEachOnce) {
  KnownResponders known;
  known.remember("a", numbered(1));
  known.remember("a", numbered(1));
  EXPECT_EQ(known.of("a"), Endpoints{numbered(1)});
}

TEST(KnownResponders, ForgetsOneOfOneSearch) {
  KnownResponders known;
  known.remember("a", numbered(1));
  known.remember("b", numbered(1));
  known.forget("a", numbered(1));
  known.forget("a", numbered(2));
  known.forget("c", numbered(1));
  EXPECT_EQ(known.of("a"), Endpoints{});
  EXPECT_EQ(known.of("b"), Endpoints{numbered(1)});
}

TEST(KnownResponders, DropsTheLeastRecentlyHeardWhenFull) {
  KnownResponders known;
  known.remember("old", numbered(0));
  known.remember("kept", numbered(0));
  for (std::size_t i = 2; i < limits::kMaxKnownResponders; ++i)
    known.remember("many", numbered(i));
  known.remember("kept", numbered(0));
  EXPECT_EQ(known.of("old").size(), 1U);
  known.remember("one more", numbered(0));
  EXPECT_EQ(known.of("old").size(), 0U);
  EXPECT_EQ(known.of("kept").size(), 1U);
  known.remember("another", numbered(0));
  EXPECT_EQ(known.of("kept").size(), 1U);
  EXPECT_EQ(known.of("many").size(), limits::kMaxKnownResponders - 3);
}

TEST(KnownResponders, RemembersTheLastSenderOfAUrl) {
  KnownResponders known;
  EXPECT_EQ(known.senderOf("service:a://x"), std::nullopt);
  known.rememberSender("service:a://x", numbered(1));
  known.rememberSender("service:a://x", numbered(2));
  EXPECT_EQ(known.senderOf("service:a://x"), numbered(2));
  EXPECT_EQ(known.senderOf("service:A://x"), std::nullopt);
  known.forgetSender("service:a://x");
  known.forgetSender("service:a://x");
  EXPECT_EQ(known.senderOf("service:a://x"), std::nullopt);
}

TEST(KnownResponders, DropsTheOldestSenderWhenFull) {
  KnownResponders known;
  for (std::size_t i = 0; i < limits::kMaxKnownSenders; ++i)
    known.rememberSender("url" + std::to_string(i), numbered(i));
  known.rememberSender("url0", numbered(7));
  known.rememberSender("one more", numbered(8));
  EXPECT_EQ(known.senderOf("url0"), numbered(7));
  EXPECT_EQ(known.senderOf("url1"), std::nullopt);
  EXPECT_EQ(known.senderOf("one more"), numbered(8));
}

TEST(KnownResponders, RemembersNoSenderOfAUrlWithoutEnd) {
  KnownResponders known;
  const std::string longest(limits::kMaxKnownUrl, 'u');
  known.rememberSender(longest, numbered(1));
  known.rememberSender(longest + "u", numbered(1));
  EXPECT_EQ(known.senderOf(longest), numbered(1));
  EXPECT_EQ(known.senderOf(longest + "u"), std::nullopt);
}

TEST(KnownResponders, DropsTheOldestSenderWhenItsUrlsTakeTooManyBytes) {
  KnownResponders known;
  constexpr std::size_t kFit = limits::kMaxKnownBytes / limits::kMaxKnownUrl;
  const auto url = [](std::size_t number) {
    std::string text = std::to_string(number);
    return text + std::string(limits::kMaxKnownUrl - text.size(), 'u');
  };
  for (std::size_t i = 0; i < kFit; ++i)
    known.rememberSender(url(i), numbered(i));
  EXPECT_EQ(known.senderOf(url(0)), numbered(0));
  known.rememberSender(url(kFit), numbered(1));
  EXPECT_EQ(known.senderOf(url(0)), std::nullopt);
  EXPECT_EQ(known.senderOf(url(1)), numbered(1));
  known.forgetSender(url(1));
  known.rememberSender(url(0), numbered(2));
  EXPECT_EQ(known.senderOf(url(2)), numbered(2)) << "what is forgotten counts no more";
}

TEST(KnownResponders, DropsTheLeastRecentlyHeardWhenTheTextsOfSearchesTakeTooManyBytes) {
  KnownResponders known;
  const std::string search(limits::kMaxKnownBytes / 4, 's');
  for (std::size_t i = 0; i < 6; ++i)
    known.remember(search, numbered(i));
  EXPECT_EQ(known.of(search), (Endpoints{numbered(2), numbered(3), numbered(4), numbered(5)}));
  known.forget(search, numbered(3));
  known.remember(search, numbered(6));
  EXPECT_EQ(known.of(search).size(), 4U);
}

}  // namespace
}  // namespace slp::test
