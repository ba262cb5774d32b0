#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ResponderFixture.h"

namespace slp::agent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wire::AttributeReply;
using wire::AttributeRequest;
using wire::ErrorCode;
using wire::ServiceReply;
using wire::ServiceRequest;
using wire::ServiceTypeReply;
using wire::ServiceTypeRequest;

class ResponderSearch : public ResponderTest {
 protected:
  ResponderSearch() {
    add(service("service:wbem:https://10.77.0.1:5989", "service:wbem:https", "(a=1),(b=x y)"));
    add(service("service:x-mgmt.quorvel:kvt://10.77.0.1:8443", "service:x-mgmt.quorvel:kvt",
                "(v={\"n\":[1,2]})),(w=3)"));
  }
};

// SrvRqst

TEST_F(ResponderSearch, FindsAServiceByItsTypeOrItsAbstractType) {
  EXPECT_THAT(urls(searchFor("service:wbem:https")), ElementsAre("service:wbem:https://10.77.0.1:5989"));
  EXPECT_THAT(urls(searchFor("SERVICE:WBEM")), ElementsAre("service:wbem:https://10.77.0.1:5989"));
  EXPECT_THAT(urls(searchFor("service:wbem"), byMulticast()), ElementsAre("service:wbem:https://10.77.0.1:5989"));
}

TEST_F(ResponderSearch, TellsTheLifetimeAndNoAuthenticationBlock) {
  const auto reply = ask<ServiceReply>(searchFor("service:wbem"));
  ASSERT_TRUE(reply && reply->urls.size() == 1);
  EXPECT_EQ(reply->urls[0], (wire::UrlEntry{900, "service:wbem:https://10.77.0.1:5989", {}}));
}

TEST_F(ResponderSearch, AnswersWithTheVeryBytesOfTheCodec) {
  add(service("service:wbem:http://[2001:db8::1]:5988", "service:wbem:http"));
  const auto header = request("en-GB");
  const auto expected = encoded(ServiceReply{ErrorCode::kOk,
                                             {{900, "service:wbem:https://10.77.0.1:5989", {}},
                                              {900, "service:wbem:http://[2001:db8::1]:5988", {}}}},
                                header);
  EXPECT_EQ(answerTo(encoded(searchFor("service:wbem"), header), neighbour()), expected);
}

TEST_F(ResponderSearch, FindsWhatThePredicateMatches) {
  EXPECT_THAT(urls(searchFor("service:wbem", "(&(a<=1)(b=X  Y))")), ElementsAre("service:wbem:https://10.77.0.1:5989"));
  EXPECT_THAT(urls(searchFor("service:wbem", "(a=2)")), IsEmpty());
}

TEST_F(ResponderSearch, ChecksTheLanguageOnlyOfAPredicate) {
  const auto without = ask<ServiceReply>(searchFor("service:wbem"), neighbour(), request("de"));
  ASSERT_TRUE(without);
  EXPECT_EQ(without->urls.size(), 1U);
  const auto with = ask<ServiceReply>(searchFor("service:wbem", "(a=1)"), neighbour(), request("de"));
  ASSERT_TRUE(with);
  EXPECT_EQ(with->error, ErrorCode::kLanguageNotSupported);
  EXPECT_THAT(with->urls, IsEmpty());
  const auto dialect = ask<ServiceReply>(searchFor("service:wbem", "(a=1)"), neighbour(), request("EN-us"));
  ASSERT_TRUE(dialect);
  EXPECT_EQ(dialect->urls.size(), 1U);
}

struct FailureCase {
  const char* name;
  wire::Body body;
  ErrorCode error;  ///< kOk: nothing is found
};

ServiceRequest search(std::string_view scopes, std::string_view spi = {}) {
  return {.previousResponders = {}, .serviceType = "service:wbem", .scopes = scopes, .predicate = {}, .spi = spi};
}

AttributeRequest attributes(std::string_view scopes, std::string_view spi = {}) {
  return {.previousResponders = {}, .url = "service:wbem", .scopes = scopes, .tags = {}, .spi = spi};
}

ServiceTypeRequest types(std::string_view scopes) {
  return {.previousResponders = {}, .namingAuthority = std::nullopt, .scopes = scopes};
}

class ResponderFailure : public ResponderSearch, public testing::WithParamInterface<FailureCase> {
 protected:
  void expectFailure(const Source& source) {
    const auto bytes = answerTo(encoded(GetParam().body), source);
    ASSERT_TRUE(bytes);
    if (std::holds_alternative<ServiceRequest>(GetParam().body)) {
      EXPECT_EQ(taken<ServiceReply>(*bytes), (ServiceReply{GetParam().error, {}}));
    } else if (std::holds_alternative<AttributeRequest>(GetParam().body)) {
      EXPECT_EQ(taken<AttributeReply>(*bytes), (AttributeReply{GetParam().error, {}, {}}));
    } else {
      EXPECT_EQ(taken<ServiceTypeReply>(*bytes), (ServiceTypeReply{GetParam().error, {}}));
    }
    EXPECT_FALSE(mOverflow);
  }
};

TEST_P(ResponderFailure, IsACompleteMessageByUnicast) {
  expectFailure(neighbour());
  expectFailure(byTcp());
  expectFailure(fromFar());
}

TEST_P(ResponderFailure, IsSilenceByMulticast) {
  EXPECT_EQ(answerTo(encoded(GetParam().body), byMulticast()), std::nullopt) << "told by the destination";
  auto header = request();
  header.multicast = true;
  EXPECT_EQ(answerTo(encoded(GetParam().body, header), neighbour()), std::nullopt) << "told by the flag";
}

TEST_P(ResponderFailure, IsAnsweredOverTcpWhateverTheFlagSays) {
  auto header = request();
  header.multicast = true;
  EXPECT_TRUE(answerTo(encoded(GetParam().body, header), byTcp()));
}

INSTANTIATE_TEST_SUITE_P(
    Table, ResponderFailure,
    testing::Values(
        FailureCase{"SearchWithoutResult", searchFor("service:other"), ErrorCode::kOk},
        FailureCase{"SearchWithoutMatch", searchFor("service:wbem", "(a=9)"), ErrorCode::kOk},
        FailureCase{"SearchForDirectoryAgents", searchFor("service:directory-agent"), ErrorCode::kOk},
        FailureCase{"SearchInOtherScopes", search("A,B"), ErrorCode::kScopeNotSupported},
        FailureCase{"SearchWithoutScopes", search(""), ErrorCode::kScopeNotSupported},
        FailureCase{"SearchWithAKey", search("DEFAULT", "key"), ErrorCode::kAuthenticationUnknown},
        FailureCase{"SearchWithoutType", searchFor(""), ErrorCode::kParseError},
        FailureCase{"SearchForABlank", searchFor(" \t"), ErrorCode::kParseError},
        FailureCase{"SearchWithABadPredicate", searchFor("service:wbem", "(a=1"), ErrorCode::kParseError},
        FailureCase{"AgentsInOtherScopes", ServiceRequest{{}, "service:service-agent", "A", {}, {}},
                    ErrorCode::kScopeNotSupported},
        FailureCase{"AgentsWithAKey", ServiceRequest{{}, "service:service-agent", "DEFAULT", {}, "key"},
                    ErrorCode::kAuthenticationUnknown},
        FailureCase{"AgentsOfOtherTypes", searchFor("service:service-agent", "(service-type=nfs)"), ErrorCode::kOk},
        FailureCase{"AgentsWithABadPredicate", searchFor("service:service-agent", "("), ErrorCode::kParseError},
        FailureCase{"AttributesOfAnUnknownUrl", attributesOf("service:wbem:https://10.9.9.9"), ErrorCode::kOk},
        FailureCase{"AttributesOfAnUnknownType", attributesOf("service:other"), ErrorCode::kOk},
        FailureCase{"AttributesWithUnknownTags", attributesOf("service:wbem:https://10.77.0.1:5989", "z"),
                    ErrorCode::kOk},
        FailureCase{"AttributesOfATypeWithUnknownTags", attributesOf("service:wbem", "z"), ErrorCode::kOk},
        FailureCase{"AttributesInOtherScopes", attributes("A,B"), ErrorCode::kScopeNotSupported},
        FailureCase{"AttributesWithoutScopes", attributes(""), ErrorCode::kScopeNotSupported},
        FailureCase{"AttributesWithAKey", attributes("DEFAULT", "key"), ErrorCode::kAuthenticationUnknown},
        FailureCase{"AttributesOfNothing", attributesOf(""), ErrorCode::kParseError},
        FailureCase{"TypesInOtherScopes", types("A,B"), ErrorCode::kScopeNotSupported},
        FailureCase{"TypesWithoutScopes", types(""), ErrorCode::kScopeNotSupported},
        FailureCase{"TypesOfAnUnknownAuthority", ServiceTypeRequest{{}, "nobody", "DEFAULT"}, ErrorCode::kOk}),
    [](const auto& row) { return row.param.name; });

// Previous responders

struct PreviousCase {
  const char* name;
  const char* list;
  bool answered;
};

class ResponderPrevious : public ResponderSearch, public testing::WithParamInterface<PreviousCase> {};

TEST_P(ResponderPrevious, AreLeftAlone) {
  auto search = searchFor("service:wbem");
  auto self = searchFor("service:service-agent");
  auto attributes = attributesOf("service:wbem");
  auto types = allTypes();
  search.previousResponders = self.previousResponders = attributes.previousResponders = types.previousResponders =
      GetParam().list;
  for (const auto& source : {byMulticast(), neighbour()}) {
    EXPECT_EQ(answerTo(encoded(search), source).has_value(), GetParam().answered);
    EXPECT_EQ(answerTo(encoded(self), source).has_value(), GetParam().answered);
    EXPECT_EQ(answerTo(encoded(attributes), source).has_value(), GetParam().answered);
    EXPECT_EQ(answerTo(encoded(types), source).has_value(), GetParam().answered);
  }
}

INSTANTIATE_TEST_SUITE_P(Table, ResponderPrevious,
                         testing::Values(PreviousCase{"Others", "10.77.0.2,10.77.0.11", true},
                                         PreviousCase{"Own", "10.77.0.1", false},
                                         PreviousCase{"OwnBehindOthers", "10.77.0.2, 10.77.0.1 ,10.77.0.3", false},
                                         PreviousCase{"OwnOfAnotherInterface", "10.88.0.1", false},
                                         PreviousCase{"OwnOfIpv6", "10.77.0.2,2001:DB8::1", false},
                                         PreviousCase{"OwnLinkLocalWithoutZone", "fe80::2", false},
                                         PreviousCase{"OthersOfIpv6", "2001:db8::2,fe80::3", true},
                                         PreviousCase{"SomebodyElsesLoopback", "127.0.0.1,::1", true},
                                         PreviousCase{"NoAddresses", "host,,10.77.0,10.77.0.1.2", true},
                                         PreviousCase{"OwnBehindWhatIsNoAddress", ",,host,10.77.0.1", false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(ResponderSearch, TakesLoopbackForItselfWhenAProgramOfThisMachineSaysSo) {
  auto search = searchFor("service:wbem");
  search.previousResponders = "127.0.0.1";
  EXPECT_EQ(answerTo(encoded(search), fromLoopback()), std::nullopt);
}

TEST_F(ResponderSearch, ReadsOnlySoManyPreviousResponders) {
  std::string list;
  for (int i = 0; i < 256; ++i)
    list += "10.1.1.1,";
  auto search = searchFor("service:wbem");
  const auto full = list + "10.77.0.1";
  search.previousResponders = full;
  EXPECT_TRUE(answerTo(encoded(search), neighbour()));
}

// AttrRqst

TEST_F(ResponderSearch, ReturnsTheAttributesOfAUrlByteForByte) {
  const auto reply = ask<AttributeReply>(attributesOf("service:x-mgmt.quorvel:kvt://10.77.0.1:8443"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(*reply, (AttributeReply{ErrorCode::kOk, "(v={\"n\":[1,2]})),(w=3)", {}}));
}

TEST_F(ResponderSearch, ReturnsTheAttributesThatATagListAsksFor) {
  const auto reply = ask<AttributeReply>(attributesOf("service:wbem:https://10.77.0.1:5989", "B*"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->attributes, "(b=x y)");
}

TEST_F(ResponderSearch, MergesTheAttributesOfAType) {
  add(service("service:wbem:http://10.77.0.1:5988", "service:wbem:http", "(a=2),(b=X Y)"));
  auto reply = ask<AttributeReply>(attributesOf("service:wbem"), byMulticast());
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->attributes, "(a=1,2),(b=x y)");
  reply = ask<AttributeReply>(attributesOf("service:wbem", "a"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->attributes, "(a=1,2)");
}

TEST_F(ResponderSearch, ReturnsAttributesInTheLanguageOfTheRequest) {
  auto german = service("service:wbem:https://10.77.0.1:5989", "service:wbem:https", "(a=eins)");
  german.language = "de";
  add(german);
  for (const auto* what : {"service:wbem:https://10.77.0.1:5989", "service:wbem"}) {
    auto reply = ask<AttributeReply>(attributesOf(what), neighbour(), request("de-AT"));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->attributes, "(a=eins)");
    reply = ask<AttributeReply>(attributesOf(what), neighbour(), request("fr"));
    ASSERT_TRUE(reply);
    EXPECT_EQ(*reply, (AttributeReply{ErrorCode::kLanguageNotSupported, {}, {}}));
    EXPECT_EQ(answerTo(encoded(attributesOf(what), request("fr")), byMulticast()), std::nullopt);
  }
}

// SrvTypeRqst

struct TypesCase {
  const char* name;
  std::optional<std::string_view> authority;
  const char* types;
};

class ResponderTypes : public ResponderSearch, public testing::WithParamInterface<TypesCase> {};

TEST_P(ResponderTypes, AreListedByTheirAuthority) {
  for (const auto& source : {neighbour(), byMulticast(), byTcp()}) {
    const auto reply = ask<ServiceTypeReply>(ServiceTypeRequest{{}, GetParam().authority, "DEFAULT"}, source);
    ASSERT_TRUE(reply);
    EXPECT_EQ(*reply, (ServiceTypeReply{ErrorCode::kOk, GetParam().types}));
  }
}

INSTANTIATE_TEST_SUITE_P(Table, ResponderTypes,
                         testing::Values(TypesCase{"All", std::nullopt,
                                                   "service:wbem:https,service:x-mgmt.quorvel:kvt"},
                                         TypesCase{"Iana", "", "service:wbem:https"},
                                         TypesCase{"Another", "Quorvel", "service:x-mgmt.quorvel:kvt"}),
                         [](const auto& row) { return row.param.name; });

// What is no request

TEST_F(ResponderSearch, NeverAnswersAReply) {
  const wire::Body replies[] = {
      ServiceReply{ErrorCode::kOk, {{1, "service:wbem://a", {}}}},
      wire::ServiceAcknowledge{ErrorCode::kParseError},
      AttributeReply{ErrorCode::kOk, "(a=1)", {}},
      wire::DirectoryAgentAdvert{ErrorCode::kOk, 1, "service:directory-agent://a", "A", {}, {}, {}},
      ServiceTypeReply{ErrorCode::kOk, "a"},
      wire::ServiceAgentAdvert{"service:service-agent://a", "A", {}, {}}};
  for (const auto& reply : replies) {
    for (const auto& source : {neighbour(), byMulticast(), byTcp(), fromLoopback()}) {
      EXPECT_EQ(answerTo(encoded(reply), source), std::nullopt) << reply.index() + 1;
      auto cut = encoded(reply);
      cut.pop_back();
      EXPECT_EQ(answerTo(cut, source), std::nullopt) << reply.index() + 1;
    }
  }
}

// What cannot be read

TEST_F(ResponderSearch, AnswersAMalformedRequestByUnicastOnly) {
  struct {
    wire::Body body;
    std::string expected;
  } const cases[] = {
      {searchFor("service:wbem"), encoded(ServiceReply{ErrorCode::kParseError, {}})},
      {attributesOf("service:wbem"), encoded(AttributeReply{ErrorCode::kParseError, {}, {}})},
      {allTypes(), encoded(ServiceTypeReply{ErrorCode::kParseError, {}})},
      {wire::ServiceRegistration{{900, "service:a://b", {}}, "service:a", "DEFAULT", {}, {}},
       encoded(wire::ServiceAcknowledge{ErrorCode::kParseError})},
      {wire::ServiceDeregistration{"DEFAULT", {0, "service:a://b", {}}, {}},
       encoded(wire::ServiceAcknowledge{ErrorCode::kParseError})},
  };
  for (const auto& row : cases) {
    const auto whole = encoded(row.body);
    for (std::size_t size = 16; size < whole.size(); ++size) {
      const auto cut = whole.substr(0, size);
      EXPECT_EQ(answerTo(cut, neighbour()), row.expected);
      EXPECT_EQ(answerTo(cut, byMulticast()), std::nullopt);
    }
    EXPECT_EQ(answerTo(whole + "x", neighbour()), row.expected) << "bytes behind the message";
    for (std::size_t size = 0; size < 16; ++size) {
      EXPECT_EQ(answerTo(whole.substr(0, size), neighbour()), std::nullopt) << "not even a header";
    }
  }
}

TEST_F(ResponderSearch, UnderstandsNoMandatoryExtension) {
  const auto bytes = encoded(searchFor("service:wbem"), request(), {{0x4001, "x"}});
  EXPECT_EQ(answerTo(bytes, neighbour()), encoded(ServiceReply{ErrorCode::kOptionNotUnderstood, {}}));
  EXPECT_EQ(answerTo(bytes, byMulticast()), std::nullopt);
  for (const std::uint16_t id : std::initializer_list<std::uint16_t>{0x0002, 0x3FFF, 0x8000, 0x8FFF}) {
    const auto reply = answerTo(encoded(searchFor("service:wbem"), request(), {{id, "x"}}), neighbour());
    ASSERT_TRUE(reply);
    EXPECT_EQ(taken<ServiceReply>(*reply)->urls.size(), 1U) << id;
  }
}

TEST_F(ResponderSearch, HasNoAnswerForAnotherVersionOrFunction) {
  auto bytes = encoded(searchFor("service:wbem"));
  for (const char version : {'\0', '\1', '\3'}) {
    bytes[0] = version;
    EXPECT_EQ(answerTo(bytes, neighbour()), std::nullopt);
    EXPECT_EQ(answerTo(bytes, byTcp()), std::nullopt);
  }
  bytes[0] = 2;
  for (const int function : {0, 12, 255}) {
    bytes[1] = static_cast<char>(function);
    EXPECT_EQ(answerTo(bytes, neighbour()), std::nullopt);
  }
}

}  // namespace
}  // namespace slp::agent
