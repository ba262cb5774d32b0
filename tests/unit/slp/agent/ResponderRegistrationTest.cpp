#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ResponderFixture.h"
#include "slp/agent/ClientExtension.h"
#include "slp/wire/Limits.h"

namespace slp::agent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wire::ErrorCode;
using wire::ServiceAcknowledge;
using wire::ServiceDeregistration;
using wire::ServiceRegistration;

constexpr std::string_view kUrl = "service:wbem:https://10.77.0.1:5989";

ServiceRegistration registration(std::uint16_t lifetime = 900) {
  return {{lifetime, kUrl, {}}, "service:wbem:https", "DEFAULT", "(a={\"x\":1})),(b", {}};
}

ServiceDeregistration deregistration() {
  return {"DEFAULT", {0, kUrl, {}}, {}};
}

class ResponderRegistration : public ResponderTest {
 protected:
  using ResponderTest::ResponderTest;

  static wire::Header fresh() {
    auto header = request();
    header.fresh = true;
    return header;
  }

  /// The error of the acknowledgement; nothing without one.
  std::optional<ErrorCode> acknowledged(const wire::Body& body, const Source& source,
                                        const wire::Header& header = fresh(),
                                        std::vector<wire::Extension> extensions = {}) {
    const auto bytes = answerTo(encoded(body, header, std::move(extensions)), source);
    if (!bytes) return std::nullopt;
    const auto reply = taken<ServiceAcknowledge>(*bytes);
    return reply ? std::optional(reply->error) : std::nullopt;
  }

  std::optional<ErrorCode> tied(const wire::Body& body, const Source& source) {
    return acknowledged(body, source, fresh(), {{kEndsWithConnection, {}}});
  }
};

TEST_F(ResponderRegistration, KeepsWhatAProgramOfThisMachineRegisters) {
  EXPECT_EQ(acknowledged(registration(), byConnection()), ErrorCode::kOk);
  EXPECT_THAT(mRegistry.ofOwner(kNoConnection), ElementsAre(Registration{std::string(kUrl), "service:wbem:https",
                                                                         "DEFAULT", "(a={\"x\":1})),(b", "en", 900}));
  EXPECT_THAT(urls(searchFor("service:wbem")), ElementsAre(kUrl));
}

TEST_F(ResponderRegistration, TellsOfWhatItHasGranted) {
  EXPECT_EQ(acknowledged(registration(), byConnection(7)), ErrorCode::kOk);
  ASSERT_TRUE(mResponder.change());
  EXPECT_EQ(mResponder.change()->url, kUrl);
  EXPECT_EQ(mResponder.change()->owner, kNoConnection);
  EXPECT_EQ(tied(registration(), byConnection(7)), ErrorCode::kOk);
  ASSERT_TRUE(mResponder.change());
  EXPECT_EQ(mResponder.change()->owner, 7U);
  EXPECT_EQ(tied(deregistration(), byConnection(7)), ErrorCode::kOk);
  ASSERT_TRUE(mResponder.change());
  EXPECT_EQ(mResponder.change()->url, kUrl);
}

TEST_F(ResponderRegistration, TellsOfNoChangeByOtherMessages) {
  ASSERT_EQ(acknowledged(registration(), byConnection()), ErrorCode::kOk);
  EXPECT_THAT(urls(searchFor("service:wbem")), ElementsAre(kUrl));
  EXPECT_FALSE(mResponder.change());
  ASSERT_EQ(acknowledged(registration(), byConnection()), ErrorCode::kOk);
  EXPECT_EQ(acknowledged(registration(0), byConnection()), ErrorCode::kInvalidRegistration);
  EXPECT_FALSE(mResponder.change()) << "it was refused";
}

TEST_F(ResponderRegistration, KeepsTheLanguageOfTheMessage) {
  auto header = fresh();
  header.language = "de-AT";
  EXPECT_TRUE(ask<ServiceAcknowledge>(registration(), fromLoopback(), header));
  ASSERT_EQ(mRegistry.ofOwner(kNoConnection).size(), 1U);
  EXPECT_EQ(mRegistry.ofOwner(kNoConnection)[0].language, "de-AT");
}

TEST_F(ResponderRegistration, TakesOutWhatIsDeregistered) {
  acknowledged(registration(), byConnection());
  EXPECT_EQ(acknowledged(deregistration(), byConnection(kFirstConnection + 1)), ErrorCode::kOk);
  EXPECT_EQ(mRegistry.size(), 0U);
  EXPECT_EQ(acknowledged(deregistration(), byConnection()), ErrorCode::kInvalidRegistration);
}

TEST_F(ResponderRegistration, GivesAConnectionWhatIsToEndWithIt) {
  EXPECT_EQ(tied(registration(kLifetimeForever), byConnection()), ErrorCode::kOk);
  EXPECT_THAT(mRegistry.ofOwner(kNoConnection), IsEmpty());
  ASSERT_EQ(mRegistry.ofOwner(kFirstConnection).size(), 1U);
  EXPECT_EQ(acknowledged(deregistration(), fromLoopback()), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(tied(deregistration(), byConnection(kFirstConnection + 1)), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(tied(deregistration(), byConnection()), ErrorCode::kOk);
  EXPECT_EQ(mRegistry.size(), 0U);
}

TEST_F(ResponderRegistration, IgnoresTheWishToEndWithAConnectionWhereThereIsNone) {
  EXPECT_EQ(tied(registration(), fromLoopback()), ErrorCode::kOk);
  EXPECT_EQ(mRegistry.ofOwner(kNoConnection).size(), 1U);
}

TEST_F(ResponderRegistration, LeavesTheServicesOfThisProcessAlone) {
  add(service(std::string(kUrl)));
  EXPECT_EQ(acknowledged(registration(), byConnection()), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(acknowledged(deregistration(), byConnection()), ErrorCode::kInvalidRegistration);
  EXPECT_THAT(mRegistry.ofOwner(kThisProcess), ElementsAre(service(std::string(kUrl))));
}

// Who may

struct SenderCase {
  const char* name;
  const char* from;
  std::uint32_t interface;
  bool tcp;
  bool allowed;
};

class ResponderSender : public ResponderRegistration, public testing::WithParamInterface<SenderCase> {};

TEST_P(ResponderSender, MayRegisterOnlyFromThisMachine) {
  auto source = neighbour();
  source.from.address = address(GetParam().from);
  source.interface = GetParam().interface;
  source.tcp = GetParam().tcp;
  const auto expected = GetParam().allowed ? ErrorCode::kOk : ErrorCode::kAuthenticationFailed;
  EXPECT_EQ(acknowledged(registration(), source), expected);
  EXPECT_EQ(mRegistry.size(), GetParam().allowed ? 1U : 0U);
  mRegistry.add(service(std::string(kUrl)), kNoConnection, kStart);
  EXPECT_EQ(acknowledged(deregistration(), source), expected);
  EXPECT_EQ(mRegistry.size(), GetParam().allowed ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Table, ResponderSender,
                         testing::Values(SenderCase{"Loopback", "127.0.0.1", 1, false, true},
                                         SenderCase{"AnotherLoopback", "127.3.2.1", 1, false, true},
                                         SenderCase{"LoopbackOfIpv6", "::1", 0, true, true},
                                         SenderCase{"OwnAddress", "10.88.0.1", 1, false, true},
                                         SenderCase{"OwnAddressOfIpv6", "2001:db8::1", 1, false, true},
                                         SenderCase{"OwnAddressOfIpv6ByTcp", "2001:db8::1", 0, true, true},
                                         SenderCase{"ForgedAddressOfIpv6", "2001:db8::1", 2, false, false},
                                         SenderCase{"Neighbour", "10.77.0.3", 2, false, false},
                                         SenderCase{"NeighbourByTcp", "10.77.0.3", 0, true, false},
                                         SenderCase{"Stranger", "192.0.2.1", 2, false, false},
                                         SenderCase{"StrangerOfIpv6", "fe80::9%2", 2, false, false}),
                         [](const auto& row) { return row.param.name; });

ResponderSettings openSettings() {
  ResponderSettings settings;
  settings.allowRemoteRegistrations = true;
  return settings;
}

class ResponderOpen : public ResponderRegistration {
 protected:
  ResponderOpen() : ResponderRegistration(openSettings()) {}
};

TEST_F(ResponderOpen, TakesRegistrationsOfOthersWhereTheyAreAllowed) {
  EXPECT_EQ(acknowledged(registration(), neighbour()), ErrorCode::kOk);
  EXPECT_EQ(acknowledged(deregistration(), fromFar()), ErrorCode::kOk);
}

TEST_F(ResponderOpen, TakesNoRegistrationByMulticast) {
  auto header = fresh();
  header.multicast = true;
  EXPECT_EQ(acknowledged(registration(), byMulticast()), std::nullopt);
  EXPECT_EQ(acknowledged(registration(), neighbour(), header), std::nullopt);
  EXPECT_EQ(mRegistry.size(), 0U);
  mRegistry.add(service(std::string(kUrl)), kNoConnection, kStart);
  EXPECT_EQ(acknowledged(deregistration(), byMulticast()), std::nullopt);
  EXPECT_EQ(acknowledged(deregistration(), neighbour(), header), std::nullopt);
  EXPECT_EQ(mRegistry.size(), 1U);
}

// What is refused

struct RefusalCase {
  const char* name;
  wire::Body body;
  bool fresh;
  bool known;
  ErrorCode error;
};

class ResponderRefusal : public ResponderRegistration, public testing::WithParamInterface<RefusalCase> {};

TEST_P(ResponderRefusal, HasItsErrorAndChangesNothing) {
  if (GetParam().known) mRegistry.add(service(std::string(kUrl)), kNoConnection, kStart);
  const auto before = mRegistry.ofOwner(kNoConnection);
  EXPECT_EQ(acknowledged(GetParam().body, fromLoopback(), GetParam().fresh ? fresh() : request()), GetParam().error);
  EXPECT_EQ(mRegistry.ofOwner(kNoConnection), before);
}

ServiceRegistration inScopes(std::string_view scopes) {
  auto body = registration();
  body.scopes = scopes;
  return body;
}

ServiceRegistration ofType(std::string_view type) {
  auto body = registration();
  body.serviceType = type;
  return body;
}

ServiceRegistration ofUrl(std::string_view url) {
  auto body = registration();
  body.entry.url = url;
  return body;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ResponderRefusal,
    testing::Values(RefusalCase{"NoLifetime", registration(0), true, false, ErrorCode::kInvalidRegistration},
                    RefusalCase{"NoUrl", ofUrl(""), true, false, ErrorCode::kInvalidRegistration},
                    RefusalCase{"NoType", ofType(""), true, false, ErrorCode::kInvalidRegistration},
                    RefusalCase{"OtherScopes", inScopes("A,B"), true, false, ErrorCode::kScopeNotSupported},
                    RefusalCase{"NoScopes", inScopes(""), true, false, ErrorCode::kScopeNotSupported},
                    RefusalCase{"UpdateOfTheUnknown", registration(), false, false, ErrorCode::kInvalidUpdate},
                    RefusalCase{"UpdateOfTheKnown", registration(), false, true, ErrorCode::kMessageNotSupported},
                    RefusalCase{"DeregistrationInOtherScopes", ServiceDeregistration{"A", {0, kUrl, {}}, {}}, true,
                                true, ErrorCode::kScopeNotSupported},
                    RefusalCase{"DeregistrationWithTags", ServiceDeregistration{"DEFAULT", {0, kUrl, {}}, "a"}, true,
                                true, ErrorCode::kMessageNotSupported},
                    RefusalCase{"DeregistrationWithTagsOfTheUnknown",
                                ServiceDeregistration{"DEFAULT", {0, kUrl, {}}, "a"}, true, false,
                                ErrorCode::kInvalidRegistration},
                    RefusalCase{"DeregistrationOfTheUnknown", ServiceDeregistration{"DEFAULT", {0, "u", {}}, {}}, true,
                                true, ErrorCode::kInvalidRegistration}),
    [](const auto& row) { return row.param.name; });

TEST_F(ResponderRegistration, IsBusyBeyondItsLimit) {
  for (std::size_t i = 0; i < limits::kMaxForeignRegistrations; ++i) {
    ASSERT_EQ(mRegistry.add(service(std::to_string(i)), kNoConnection, kStart), ErrorCode::kOk);
  }
  EXPECT_EQ(acknowledged(registration(), fromLoopback()), ErrorCode::kBusyNow);
}

}  // namespace
}  // namespace slp::agent
