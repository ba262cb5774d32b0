#include <gtest/gtest.h>

#include "ResponderFixture.h"

namespace slp::agent {
namespace {

using wire::AttributeReply;
using wire::ErrorCode;
using wire::ServiceReply;
using wire::ServiceTypeReply;

constexpr std::size_t kMaxDatagram = 1'352;

class ResponderSize : public ResponderTest {
 protected:
  void addMany(int count) {
    for (int i = 0; i < count; ++i) {
      const auto number = std::to_string(1'000 + i);
      add(service("service:wbem:https://10.77.0.1:" + number, "service:wbem:https",
                  "(number=" + number + "),(text=" + std::string(60, 'x') + number + ")"));
    }
  }
  void addLarge(std::size_t attributes) {
    add(service("service:large://10.77.0.1", "service:large", "(a=" + std::string(attributes - 4, 'x') + ")"));
  }
};

TEST_F(ResponderSize, FillsADatagramWithWholeEntries) {
  addMany(100);
  const auto bytes = answerTo(encoded(searchFor("service:wbem")), neighbour());
  ASSERT_TRUE(bytes);
  const std::size_t entry = 6 + std::string_view("service:wbem:https://10.77.0.1:1000").size();
  EXPECT_LE(bytes->size(), kMaxDatagram);
  EXPECT_GT(bytes->size() + entry, kMaxDatagram);
  const auto reply = taken<ServiceReply>(*bytes);
  ASSERT_TRUE(reply);
  EXPECT_TRUE(mOverflow);
  EXPECT_EQ(reply->urls.size(), (kMaxDatagram - 20) / entry);
  EXPECT_EQ(reply->urls.front().url, "service:wbem:https://10.77.0.1:1000");
  EXPECT_EQ(reply->urls.back().url, "service:wbem:https://10.77.0.1:" + std::to_string(999 + reply->urls.size()));
}

TEST_F(ResponderSize, HasNoOverflowWhenTheLastEntryJustFits) {
  const std::size_t count = (kMaxDatagram - 20) / 41;
  addMany(static_cast<int>(count) - 1);
  const auto rest = kMaxDatagram - 20 - (count - 1) * 41;
  add(service("service:wbem:https://" + std::string(rest - 6 - 21, 'h')));
  const auto bytes = answerTo(encoded(searchFor("service:wbem")), neighbour());
  ASSERT_TRUE(bytes);
  EXPECT_EQ(bytes->size(), kMaxDatagram);
  EXPECT_EQ(taken<ServiceReply>(*bytes)->urls.size(), count);
  EXPECT_FALSE(mOverflow);
}

TEST_F(ResponderSize, TellsEverythingOverTcp) {
  addMany(3'000);
  const auto services = ask<ServiceReply>(searchFor("service:wbem"), byTcp());
  ASSERT_TRUE(services);
  EXPECT_EQ(services->urls.size(), 3'000U);
  EXPECT_FALSE(mOverflow);
  addLarge(65'535);
  const auto attributes = ask<AttributeReply>(attributesOf("service:large://10.77.0.1"), byTcp());
  ASSERT_TRUE(attributes);
  EXPECT_EQ(attributes->attributes.size(), 65'535U);
  EXPECT_FALSE(mOverflow);
}

TEST_F(ResponderSize, TellsAsManyUrlsOverTcpAsTheirCountHolds) {
  for (int i = 0; i < 65'536; ++i)
    add(service("u" + std::to_string(i)));
  const auto reply = ask<ServiceReply>(searchFor("service:wbem"), byTcp());
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->urls.size(), 65'535U);
  EXPECT_TRUE(mOverflow);
}

struct AttributesCase {
  const char* name;
  std::size_t attributes;
  bool fits;
};

class ResponderAttributesSize : public ResponderSize, public testing::WithParamInterface<AttributesCase> {};

TEST_P(ResponderAttributesSize, AreSentWholeOrNotAtAll) {
  addLarge(GetParam().attributes);
  for (const auto* what : {"service:large://10.77.0.1", "service:large"}) {
    for (const auto& source : {neighbour(), byMulticast(), fromLoopback()}) {
      const auto reply = ask<AttributeReply>(attributesOf(what), source);
      ASSERT_TRUE(reply);
      EXPECT_EQ(reply->error, ErrorCode::kOk);
      EXPECT_EQ(reply->attributes.size(), GetParam().fits ? GetParam().attributes : 0U);
      EXPECT_EQ(mOverflow, !GetParam().fits);
    }
  }
}

// The header with its language has 16 bytes, the error and the length 4, the number of authentication blocks one.
INSTANTIATE_TEST_SUITE_P(Table, ResponderAttributesSize,
                         testing::Values(AttributesCase{"Small", 100, true},
                                         AttributesCase{"JustFits", kMaxDatagram - 21, true},
                                         AttributesCase{"OneByteTooMany", kMaxDatagram - 20, false},
                                         AttributesCase{"Long", 4'096, false},
                                         AttributesCase{"Longest", 65'535, false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(ResponderSize, SendsWhatMergedAttributesFitAMessageOverTcp) {
  addMany(2'000);
  auto reply = ask<AttributeReply>(attributesOf("service:wbem"), byTcp());
  ASSERT_TRUE(reply);
  EXPECT_TRUE(mOverflow);
  EXPECT_EQ(reply->attributes.substr(0, 18), "(number=1000,1001,") << "numbers fit, as many texts do not";
  reply = ask<AttributeReply>(attributesOf("service:wbem"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(*reply, AttributeReply{});
  EXPECT_TRUE(mOverflow);
}

TEST_F(ResponderSize, CutsAListOfTypesOnlyOverTcp) {
  for (int i = 0; i < 100; ++i)
    add(service("u" + std::to_string(i), "service:type-" + std::to_string(i)));
  auto reply = ask<ServiceTypeReply>(allTypes());
  ASSERT_TRUE(reply);
  EXPECT_EQ(*reply, ServiceTypeReply{});
  EXPECT_TRUE(mOverflow);
  reply = ask<ServiceTypeReply>(allTypes(), byTcp());
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->types.size(), 10 * 14U + 90 * 15 + 99);
  EXPECT_FALSE(mOverflow);
  for (int i = 100; i < 6'000; ++i)
    add(service("u" + std::to_string(i), "service:type-" + std::to_string(i)));
  reply = ask<ServiceTypeReply>(allTypes(), byTcp());
  ASSERT_TRUE(reply);
  EXPECT_TRUE(mOverflow);
  EXPECT_GT(reply->types.size(), 65'500U);
  EXPECT_NE(reply->types.back(), ',');
}

// Strangers

TEST_F(ResponderSize, NeverTellsAStrangerMoreThanThreeTimesItsRequest) {
  addMany(100);
  addLarge(1'000);
  for (int i = 0; i < 100; ++i)
    add(service("v" + std::to_string(i), "service:type-" + std::to_string(i)));
  const wire::Body requests[] = {searchFor("service:wbem"),
                                 attributesOf("service:large://10.77.0.1"),
                                 attributesOf("service:large"),
                                 attributesOf("service:wbem"),
                                 allTypes(),
                                 searchFor("service:service-agent")};
  for (const auto& body : requests) {
    for (auto source : {fromFar(), byMulticast(fromFar())}) {
      const auto bytes = encoded(body);
      const auto reply = answerTo(bytes, source);
      ASSERT_TRUE(reply) << body.index();
      EXPECT_LE(reply->size(), 3 * bytes.size()) << body.index();
      const auto decoded = wire::decode(wire::bytesOf(*reply));
      ASSERT_TRUE(std::holds_alternative<wire::Message>(decoded));
      EXPECT_TRUE(std::get<wire::Message>(decoded).header.overflow) << body.index();
    }
  }
}

TEST_F(ResponderSize, TellsAStrangerWholeEntriesWithinItsLimit) {
  addMany(100);
  const auto reply = ask<ServiceReply>(searchFor("service:wbem"), fromFar());
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->urls.size(), (3 * encoded(searchFor("service:wbem")).size() - 20) / 41);
  EXPECT_GE(reply->urls.size(), 2U);
}

TEST_F(ResponderSize, TellsAStrangerByTcpEverything) {
  addMany(100);
  const auto reply = ask<ServiceReply>(searchFor("service:wbem"), byTcp(fromFar()));
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->urls.size(), 100U);
}

ResponderSettings settingsOfManyScopes() {
  ResponderSettings settings;
  settings.scopes = "DEFAULT," + std::string(300, 's');
  return settings;
}

class ResponderManyScopes : public ResponderTest {
 protected:
  ResponderManyScopes() : ResponderTest(settingsOfManyScopes()) {}
};

TEST_F(ResponderManyScopes, TellsAStrangerThatAskingByTcpHelps) {
  const auto reply = ask<ServiceReply>(searchFor("service:service-agent"), fromFar());
  ASSERT_TRUE(reply);
  EXPECT_EQ(*reply, ServiceReply{});
  EXPECT_TRUE(mOverflow);
  const auto whole = ask<wire::ServiceAgentAdvert>(searchFor("service:service-agent"), byTcp(fromFar()));
  ASSERT_TRUE(whole);
  EXPECT_FALSE(mOverflow);
}

ResponderSettings tinySettings() {
  ResponderSettings settings;
  settings.maxDatagramMessage = 18;
  return settings;
}

class ResponderTiny : public ResponderTest {
 protected:
  ResponderTiny() : ResponderTest(tinySettings()) {}
};

TEST_F(ResponderTiny, IsSilentWhenNotEvenAnEmptyReplyFits) {
  add(service("service:wbem:https://10.77.0.1"));
  for (const wire::Body& body : {wire::Body(searchFor("service:wbem")), wire::Body(attributesOf("service:wbem")),
                                 wire::Body(allTypes()), wire::Body(searchFor("service:service-agent"))}) {
    EXPECT_EQ(answerTo(encoded(body), neighbour()), std::nullopt) << body.index();
    EXPECT_TRUE(answerTo(encoded(body), byTcp())) << body.index();
  }
}

}  // namespace
}  // namespace slp::agent
