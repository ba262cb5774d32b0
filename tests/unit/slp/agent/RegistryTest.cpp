#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "slp/agent/Registry.h"
#include "slp/wire/Limits.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using wire::ErrorCode;

const TimePoint kStart{1h};

Registration service(std::string url, std::string type = "service:wbem:https") {
  return {std::move(url), std::move(type), "DEFAULT", "(a=1)", "en", 900};
}

Registration withLanguage(Registration registration, std::string language, std::string attributes) {
  registration.language = std::move(language);
  registration.attributes = std::move(attributes);
  return registration;
}

Registration withLifetime(Registration registration, std::uint16_t lifetime) {
  registration.lifetime = lifetime;
  return registration;
}

struct Found {
  ErrorCode result = ErrorCode::kOk;
  std::vector<std::string> urls;
};

Found find(const Registry& registry, const Registry::Search& search, TimePoint now = kStart) {
  Found found;
  found.result = registry.findServices(search, now, [&found](const Registry::Entry& entry) {
    found.urls.emplace_back(entry.url);
    return true;
  });
  return found;
}

std::vector<std::string> urlsOf(const Registry& registry, std::string_view type, TimePoint now = kStart) {
  return find(registry, {type, "DEFAULT", "", "en"}, now).urls;
}

struct Attributes {
  ErrorCode result = ErrorCode::kOk;
  std::string text = "(none)";
};

Attributes attributesOf(const Registry& registry, std::string_view url, std::string_view language = "en",
                        std::string_view scopes = "DEFAULT", TimePoint now = kStart) {
  Attributes attributes;
  attributes.result = registry.findByUrl(url, scopes, language, now, [&attributes](const Registry::Entry& entry) {
    attributes.text = entry.attributes;
    return true;
  });
  return attributes;
}

std::uint16_t lifetimeOf(const Registry& registry, std::string_view url, TimePoint now) {
  std::uint16_t lifetime = 0;
  registry.findByUrl(url, "DEFAULT", "en", now, [&lifetime](const Registry::Entry& entry) {
    lifetime = entry.lifetime;
    return true;
  });
  return lifetime;
}

bool admitAll(const Registry::Entry& /*entry*/) {
  return true;
}

TEST(Registry, ListsTheVariantsOfAUrlThatHaveNotEnded) {
  Registry registry;
  registry.add(service("u"), kThisProcess, kStart);
  registry.add(withLifetime(withLanguage(service("u"), "de", "(a=2)"), 10), kThisProcess, kStart);
  registry.add(service("other"), kThisProcess, kStart);
  EXPECT_THAT(registry.variantsOf("u", kStart),
              testing::UnorderedElementsAre(Variant{"en", "DEFAULT"}, Variant{"de", "DEFAULT"}));
  EXPECT_THAT(registry.variantsOf("u", kStart + 11s), ElementsAre(Variant{"en", "DEFAULT"}));
  EXPECT_THAT(registry.variantsOf("v", kStart), IsEmpty());
}

// Finding

TEST(Registry, FindsAServiceByItsTypeHoweverItIsWritten) {
  Registry registry;
  registry.add(service("u1", "service:x-Mgmt.Quorvel:kvt"), kThisProcess, kStart);
  EXPECT_THAT(urlsOf(registry, "service:x-mgmt.quorvel:kvt"), ElementsAre("u1"));
  EXPECT_THAT(urlsOf(registry, "  SERVICE:X-MGMT.QUORVEL:KVT\t"), ElementsAre("u1"));
  EXPECT_THAT(urlsOf(registry, "service:x-mgmt.quorvel"), ElementsAre("u1"));
  EXPECT_THAT(urlsOf(registry, "service:x-mgmt"), IsEmpty());
  EXPECT_THAT(urlsOf(registry, ""), IsEmpty());
}

TEST(Registry, FindsWhatAnAbstractTypeCoversInTheOrderOfRegistration) {
  Registry registry;
  registry.add(service("u1", "service:wbem:https"), kThisProcess, kStart);
  registry.add(service("u2", "service:wbem"), kThisProcess, kStart);
  registry.add(service("u3", "service:wbem:http"), kThisProcess, kStart);
  registry.add(service("u4", "service:wbem:https"), kThisProcess, kStart);
  EXPECT_THAT(urlsOf(registry, "service:wbem"), ElementsAre("u1", "u2", "u3", "u4"));
  EXPECT_THAT(urlsOf(registry, "service:wbem:https"), ElementsAre("u1", "u4"));
}

TEST(Registry, KeepsTheUrlAndTheAttributesByteForByte) {
  Registry registry;
  auto registration = service("service:wbem:https://Host/ a%20b");
  registration.attributes = std::string("(a={\"x\":[1,2]})),(b=\\zz") + '\0' + "\xFF)";
  registry.add(registration, kThisProcess, kStart);
  EXPECT_EQ(attributesOf(registry, registration.url).text, registration.attributes);
  EXPECT_EQ(attributesOf(registry, "service:wbem:https://host/ a%20b").text, "(none)") << "URLs have their case";
  EXPECT_THAT(registry.ofOwner(kThisProcess), ElementsAre(registration));
}

TEST(Registry, EndsAWalkWhenItsVisitorSaysSo) {
  Registry registry;
  for (const auto* url : {"u1", "u2", "u3"})
    registry.add(service(url), kThisProcess, kStart);
  int visited = 0;
  registry.findServices({"service:wbem", "DEFAULT", "", "en"}, kStart,
                        [&visited](const Registry::Entry&) { return ++visited < 2; });
  EXPECT_EQ(visited, 2);
}

struct ScopeCase {
  const char* name;
  const char* registered;
  const char* asked;
  bool found;
};

class RegistryScopes : public testing::TestWithParam<ScopeCase> {};

TEST_P(RegistryScopes, AreMatchedAsLists) {
  Registry registry;
  auto registration = service("u1");
  registration.scopes = GetParam().registered;
  registry.add(registration, kThisProcess, kStart);
  EXPECT_EQ(!find(registry, {"service:wbem", GetParam().asked, "", "en"}).urls.empty(), GetParam().found);
  EXPECT_EQ(attributesOf(registry, "u1", "en", GetParam().asked).text != "(none)", GetParam().found);
  EXPECT_EQ(!registry.types(std::nullopt, GetParam().asked).empty(), GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RegistryScopes,
    testing::Values(ScopeCase{"Same", "DEFAULT", "DEFAULT", true}, ScopeCase{"OtherCase", "DEFAULT", "default", true},
                    ScopeCase{"OneOfTwoRegistered", "A,B", "b", true}, ScopeCase{"OneOfTwoAsked", "B", "a, b", true},
                    ScopeCase{"None", "A,B", "C,D", false}, ScopeCase{"NothingAsked", "A", "", false},
                    ScopeCase{"NothingRegistered", "", "A", false}, ScopeCase{"NothingAtAll", "", "", false}),
    [](const auto& row) { return row.param.name; });

// Languages

TEST(Registry, LooksAtLanguagesOnlyWithAFilter) {
  Registry registry;
  registry.add(withLanguage(service("u1"), "de", "(a=1)"), kThisProcess, kStart);
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "", "fr"}).urls, ElementsAre("u1"));
  const auto found = find(registry, {"service:wbem", "DEFAULT", "(a=1)", "fr"});
  EXPECT_EQ(found.result, ErrorCode::kLanguageNotSupported);
  EXPECT_THAT(found.urls, IsEmpty());
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(a=1)", "DE-ch"}).urls, ElementsAre("u1"));
}

TEST(Registry, HasNoLanguageErrorForWhatIsNotThere) {
  Registry registry;
  registry.add(withLanguage(service("u1"), "de", "(a=1)"), kThisProcess, kStart);
  EXPECT_EQ(find(registry, {"service:other", "DEFAULT", "(a=1)", "fr"}).result, ErrorCode::kOk);
  EXPECT_EQ(find(registry, {"service:wbem", "OTHER", "(a=1)", "fr"}).result, ErrorCode::kOk);
  EXPECT_EQ(find(registry, {"service:wbem", "DEFAULT", "(a=2)", "de"}).result, ErrorCode::kOk);
}

TEST(Registry, FindsAUrlOnceThatIsRegisteredInSeveralLanguages) {
  Registry registry;
  registry.add(withLanguage(service("u1"), "de", "(a=1)"), kThisProcess, kStart);
  registry.add(service("u2"), kThisProcess, kStart);
  registry.add(withLanguage(service("u1"), "en", "(a=1)"), kThisProcess, kStart);
  registry.add(withLanguage(service("u1"), "en-GB", "(a=1)"), kThisProcess, kStart);
  EXPECT_EQ(registry.size(), 4U);
  EXPECT_THAT(urlsOf(registry, "service:wbem"), ElementsAre("u1", "u2"));
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(a=1)", "en-US"}).urls, ElementsAre("u2", "u1"));
}

TEST(Registry, PrefersTheVeryDialect) {
  Registry registry;
  registry.add(withLanguage(service("u1"), "en-US", "(color=1)"), kThisProcess, kStart);
  registry.add(withLanguage(service("u1"), "en-GB", "(colour=1)"), kThisProcess, kStart);
  EXPECT_EQ(attributesOf(registry, "u1", "en-gb").text, "(colour=1)");
  EXPECT_EQ(attributesOf(registry, "u1", "en-US").text, "(color=1)");
  EXPECT_EQ(attributesOf(registry, "u1", "en-AU").text, "(color=1)") << "the first that speaks it";
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(color=1)", "en-GB"}).urls, IsEmpty());
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(color=1)", "en"}).urls, ElementsAre("u1"));
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(colour=1)", "en"}).urls, ElementsAre("u1"));
}

TEST(Registry, SaysThatAUrlIsThereInAnotherLanguage) {
  Registry registry;
  registry.add(service("u1"), kThisProcess, kStart);
  EXPECT_EQ(attributesOf(registry, "u1", "fr").result, ErrorCode::kLanguageNotSupported);
  EXPECT_EQ(attributesOf(registry, "u2", "fr").result, ErrorCode::kOk);
}

// Filters

TEST(Registry, FindsTheOneThatAFilterMatches) {
  Registry registry;
  for (int i = 0; i < 50; ++i) {
    auto registration = service("u" + std::to_string(i));
    registration.attributes = "(number=" + std::to_string(i) + "),(text=a b)";
    registry.add(registration, kThisProcess, kStart);
  }
  for (int round = 0; round < 2; ++round) {  // parsed, and remembered
    EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(number=17)", "en"}).urls, ElementsAre("u17"));
  }
  EXPECT_EQ(find(registry, {"service:wbem", "DEFAULT", "(&(number>=10)(text=A*))", "en"}).urls.size(), 40U);
}

TEST(Registry, ForgetsWhatItHadParsedWhenARegistrationIsReplaced) {
  Registry registry;
  registry.add(service("u1"), kThisProcess, kStart);
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(a=1)", "en"}).urls, ElementsAre("u1"));
  registry.add(withLanguage(service("u1"), "en", "(a=2)"), kThisProcess, kStart);
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(a=1)", "en"}).urls, IsEmpty());
  EXPECT_THAT(find(registry, {"service:wbem", "DEFAULT", "(a=2)", "en"}).urls, ElementsAre("u1"));
}

TEST(Registry, RejectsAFilterThatItCannotRead) {
  Registry registry;
  registry.add(service("u1"), kThisProcess, kStart);
  for (const auto* filter : {"(", "a=1", "(a=1", "(&)x"}) {
    EXPECT_EQ(find(registry, {"service:wbem", "DEFAULT", filter, "en"}).result, ErrorCode::kParseError) << filter;
  }
}

// Lifetimes

TEST(Registry, ExpiresExactlyAtTheEndOfALifetime) {
  Registry registry;
  registry.add(withLifetime(service("u1"), 10), kThisProcess, kStart);
  EXPECT_EQ(registry.nextExpiry(), kStart + 10s);
  registry.expire(kStart + 9'999'999us);
  EXPECT_THAT(urlsOf(registry, "service:wbem", kStart + 9'999'999us), ElementsAre("u1"));
  EXPECT_EQ(lifetimeOf(registry, "u1", kStart + 9'999'999us), 1);
  EXPECT_THAT(urlsOf(registry, "service:wbem", kStart + 10s), IsEmpty()) << "found by nobody, even before it goes";
  EXPECT_EQ(attributesOf(registry, "u1", "en", "DEFAULT", kStart + 10s).text, "(none)");
  EXPECT_EQ(registry.size(), 1U);
  EXPECT_THAT(registry.expire(kStart + 10s), ElementsAre("u1"));
  EXPECT_EQ(registry.size(), 0U);
  EXPECT_EQ(registry.nextExpiry(), std::nullopt);
  EXPECT_THAT(registry.types(std::nullopt, "DEFAULT"), IsEmpty());
}

TEST(Registry, TellsTheSecondsThatAreLeft) {
  Registry registry;
  registry.add(withLifetime(service("u1"), 900), kThisProcess, kStart);
  EXPECT_EQ(lifetimeOf(registry, "u1", kStart), 900);
  EXPECT_EQ(lifetimeOf(registry, "u1", kStart + 1ms), 900);
  EXPECT_EQ(lifetimeOf(registry, "u1", kStart + 1s), 899);
  EXPECT_EQ(lifetimeOf(registry, "u1", kStart - 1h), 900) << "a reader's clock may lag";
}

TEST(Registry, KeepsTheLongestLifetimeForAsLongAsItsOwner) {
  Registry registry;
  registry.add(withLifetime(service("own"), kLifetimeForever), kThisProcess, kStart);
  registry.add(withLifetime(service("client"), kLifetimeForever), kFirstConnection, kStart);
  EXPECT_EQ(registry.nextExpiry(), std::nullopt);
  registry.expire(kStart + 10'000h);
  EXPECT_THAT(urlsOf(registry, "service:wbem", kStart + 10'000h), ElementsAre("own", "client"));
  EXPECT_EQ(lifetimeOf(registry, "own", kStart + 10'000h), kLifetimeForever);
}

TEST(Registry, EndsEvenTheLongestLifetimeWhenThereIsNoConnection) {
  Registry registry;
  registry.add(withLifetime(service("u1"), kLifetimeForever), kNoConnection, kStart);
  EXPECT_EQ(lifetimeOf(registry, "u1", kStart), 65'535);
  EXPECT_EQ(registry.nextExpiry(), kStart + 65'535s);
}

TEST(Registry, StartsALifetimeAnewWithARefreshAndLeavesTheServiceInItsPlace) {
  Registry registry;
  registry.add(withLifetime(service("u1"), 10), kThisProcess, kStart);
  registry.add(withLifetime(service("u2"), 10), kThisProcess, kStart);
  const auto generation = registry.typesGeneration();
  registry.add(withLifetime(service("u1"), 10), kThisProcess, kStart + 5s);
  EXPECT_EQ(registry.typesGeneration(), generation);
  EXPECT_THAT(urlsOf(registry, "service:wbem", kStart + 5s), ElementsAre("u1", "u2"));
  registry.expire(kStart + 10s);
  EXPECT_THAT(urlsOf(registry, "service:wbem", kStart + 10s), ElementsAre("u1"));
  EXPECT_EQ(registry.nextExpiry(), kStart + 15s);
}

// Changing

TEST(Registry, ReplacesEntirelyWhatHasTheSameUrlAndLanguage) {
  Registry registry;
  registry.add(service("u1", "service:wbem:https"), kThisProcess, kStart);
  auto other = withLanguage(service("u1", "service:printer:lpr"), "EN", "(b=2)");
  other.scopes = "B";
  registry.add(other, kThisProcess, kStart);
  EXPECT_EQ(registry.size(), 1U);
  EXPECT_THAT(urlsOf(registry, "service:wbem"), IsEmpty());
  EXPECT_THAT(find(registry, {"service:printer", "B", "", "en"}).urls, ElementsAre("u1"));
  EXPECT_THAT(registry.types(std::nullopt, "DEFAULT,B"), ElementsAre("service:printer:lpr"));
  EXPECT_THAT(registry.ofOwner(kThisProcess), ElementsAre(other));
}

TEST(Registry, CanReplaceATypeByOneThatCoversItAndBack) {
  const std::vector<std::string> types = {"service:wbem", "service:wbem:https",  "service:WBEM:http",  "service:wbem",
                                          "SERVICE:wbem", "service:other:https", "service:wbem:https", "wbem"};
  Registry registry;
  for (const auto& before : types) {
    for (const auto& after : types) {
      registry.add(service("u1", before), kThisProcess, kStart);
      registry.add(service("u1", after), kThisProcess, kStart);
      EXPECT_THAT(urlsOf(registry, after), ElementsAre("u1")) << before;
      EXPECT_EQ(urlsOf(registry, "service:wbem").size(), after.find("ther") == std::string::npos && after != "wbem");
      EXPECT_THAT(registry.types(std::nullopt, "DEFAULT"), ElementsAre(testing::StrCaseEq(after))) << before;
    }
  }
  registry.removeAll(kThisProcess);
  for (const auto& type : types)
    EXPECT_THAT(urlsOf(registry, type), IsEmpty());
}

TEST(Registry, RemovesAUrlInEveryLanguage) {
  Registry registry;
  registry.add(service("u1"), kThisProcess, kStart);
  registry.add(withLanguage(service("u1"), "de", ""), kThisProcess, kStart);
  registry.add(service("u2"), kThisProcess, kStart);
  EXPECT_EQ(registry.remove("u1", kThisProcess), ErrorCode::kOk);
  EXPECT_THAT(urlsOf(registry, "service:wbem"), ElementsAre("u2"));
  EXPECT_EQ(registry.remove("u1", kThisProcess), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(registry.size(), 1U);
}

TEST(Registry, CanLoseTheFirstTheMiddleAndTheLastLanguageOfAUrl) {
  for (const std::string gone : {"en", "de", "fr"}) {
    Registry registry;
    for (const std::string language : {"en", "de", "fr"}) {
      auto registration = withLanguage(service("u1"), language, "(l=" + language + ")");
      registration.lifetime = language == gone ? 10 : 900;
      registry.add(registration, kThisProcess, kStart);
    }
    registry.expire(kStart + 10s);
    for (const std::string language : {"en", "de", "fr"}) {
      EXPECT_EQ(attributesOf(registry, "u1", language).text, language == gone ? "(none)" : "(l=" + language + ")");
    }
    EXPECT_EQ(registry.remove("u1", kThisProcess), ErrorCode::kOk);
    EXPECT_EQ(registry.size(), 0U);
  }
}

TEST(Registry, LeavesTheUrlsOfOthersAlone) {
  Registry registry;
  registry.add(service("own"), kThisProcess, kStart);
  registry.add(service("client"), kFirstConnection, kStart);
  EXPECT_EQ(registry.add(service("own"), kFirstConnection, kStart), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(registry.add(withLanguage(service("own"), "de", ""), kNoConnection, kStart),
            ErrorCode::kInvalidRegistration);
  EXPECT_EQ(registry.remove("own", kNoConnection), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(registry.remove("client", kNoConnection), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(registry.remove("client", kFirstConnection + 1), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(registry.add(service("client"), kThisProcess, kStart), ErrorCode::kOk) << "ours come first";
  EXPECT_EQ(registry.remove("client", kFirstConnection), ErrorCode::kInvalidRegistration);
}

TEST(Registry, WithdrawsWhatAConnectionStillOwnsAtItsEnd) {
  Registry registry;
  registry.add(service("own"), kThisProcess, kStart);
  registry.add(service("u1"), kFirstConnection, kStart);
  registry.add(service("u2"), kFirstConnection, kStart);
  registry.add(service("u3"), kNoConnection, kStart);
  registry.add(service("u2"), kFirstConnection + 1, kStart);  // its client has come back by another connection
  EXPECT_THAT(registry.removeAll(kFirstConnection), ElementsAre("u1"));
  EXPECT_THAT(urlsOf(registry, "service:wbem"), ElementsAre("own", "u2", "u3"));
  EXPECT_THAT(registry.removeAll(kFirstConnection), IsEmpty());
  EXPECT_EQ(registry.size(), 3U);
}

struct IncompleteCase {
  const char* name;
  Registration registration;
};

class RegistryIncomplete : public testing::TestWithParam<IncompleteCase> {};

TEST_P(RegistryIncomplete, IsRefused) {
  Registry registry;
  EXPECT_EQ(registry.add(GetParam().registration, kThisProcess, kStart), ErrorCode::kInvalidRegistration);
  EXPECT_EQ(registry.size(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RegistryIncomplete,
    testing::Values(IncompleteCase{"NoUrl", service("")}, IncompleteCase{"NoType", service("u", "")},
                    IncompleteCase{"NoLanguage", withLanguage(service("u"), "", "")},
                    IncompleteCase{"NoLifetime", withLifetime(service("u"), 0)},
                    IncompleteCase{"UrlTooLong", service(std::string(65'536, 'u'))},
                    IncompleteCase{"AttributesTooLong", withLanguage(service("u"), "en", std::string(65'536, 'a'))}),
    [](const auto& row) { return row.param.name; });

TEST(Registry, TakesTextsUpToTheLengthOfTheirFields) {
  Registry registry;
  const auto longest = withLanguage(service(std::string(65'535, 'u')), "en", std::string(65'535, 'a'));
  EXPECT_EQ(registry.add(longest, kThisProcess, kStart), ErrorCode::kOk);
  EXPECT_THAT(registry.ofOwner(kThisProcess), ElementsAre(longest));
}

// Limits

TEST(Registry, TakesOnlySoManyRegistrationsOfOthers) {
  Registry registry;
  for (std::size_t i = 0; i < limits::kMaxForeignRegistrations; ++i) {
    const auto owner = i % 2 == 0 ? kNoConnection : kFirstConnection;
    ASSERT_EQ(registry.add(service(std::to_string(i)), owner, kStart), ErrorCode::kOk);
  }
  EXPECT_EQ(registry.add(service("more"), kNoConnection, kStart), ErrorCode::kBusyNow);
  EXPECT_EQ(registry.add(service("0"), kNoConnection, kStart), ErrorCode::kOk) << "a refresh";
  EXPECT_EQ(registry.add(service("own"), kThisProcess, kStart), ErrorCode::kOk);
  registry.removeAll(kFirstConnection);
  EXPECT_EQ(registry.add(service("more"), kNoConnection, kStart), ErrorCode::kOk);
}

TEST(Registry, TakesOnlySoManyBytesOfOthers) {
  Registry registry;
  auto large = service("");
  large.attributes.assign(65'535, 'a');
  std::size_t taken = 0;
  for (;; ++taken) {
    large.url = std::to_string(taken);
    if (registry.add(large, kNoConnection, kStart) != ErrorCode::kOk) break;
    ASSERT_LT(taken, limits::kMaxForeignBytes / 65'535);
  }
  EXPECT_GT(taken, limits::kMaxForeignBytes / 65'535 * 9 / 10);
  EXPECT_EQ(registry.add(large, kNoConnection, kStart), ErrorCode::kBusyNow);
  large.url = "0";
  EXPECT_EQ(registry.add(large, kNoConnection, kStart), ErrorCode::kOk) << "in place of itself";
  large.url = "own";
  EXPECT_EQ(registry.add(large, kThisProcess, kStart), ErrorCode::kOk);
}

TEST(Registry, TakesOnlySoManyRegistrationsOfItsOwn) {
  Registry registry;
  for (std::size_t i = 0; i < limits::kMaxOwnRegistrations; ++i) {
    ASSERT_EQ(registry.add(service(std::to_string(i)), kThisProcess, kStart), ErrorCode::kOk);
  }
  EXPECT_EQ(registry.add(service("more"), kThisProcess, kStart), ErrorCode::kBusyNow);
  EXPECT_EQ(registry.add(service("0"), kThisProcess, kStart), ErrorCode::kOk);
}

TEST(Registry, TakesOnlySoManyLanguagesOfAUrl) {
  Registry registry;
  for (std::size_t i = 0; i < limits::kMaxLanguagesOfUrl; ++i) {
    ASSERT_EQ(registry.add(withLanguage(service("u1"), "l" + std::to_string(i), ""), kNoConnection, kStart),
              ErrorCode::kOk);
  }
  EXPECT_EQ(registry.add(withLanguage(service("u1"), "more", ""), kNoConnection, kStart), ErrorCode::kBusyNow);
  EXPECT_EQ(registry.add(withLanguage(service("u1"), "L0", ""), kNoConnection, kStart), ErrorCode::kOk);
}

// Types

TEST(Registry, ListsEachTypeOnceInItsFirstSpelling) {
  Registry registry;
  registry.add(service("u1", "service:Wbem:https"), kThisProcess, kStart);
  registry.add(service("u2", "service:wbem:HTTPS"), kThisProcess, kStart);
  registry.add(service("u3", "service:x-mgmt.quorvel:kvt"), kThisProcess, kStart);
  EXPECT_THAT(registry.types(std::nullopt, "DEFAULT"), ElementsAre("service:Wbem:https", "service:x-mgmt.quorvel:kvt"));
  EXPECT_THAT(registry.types("", "DEFAULT"), ElementsAre("service:Wbem:https"));
  EXPECT_THAT(registry.types("QUORVEL", "DEFAULT"), ElementsAre("service:x-mgmt.quorvel:kvt"));
  EXPECT_THAT(registry.types("other", "DEFAULT"), IsEmpty());
}

TEST(Registry, CountsTheComingsAndGoingsOfTypes) {
  Registry registry;
  const auto none = registry.typesGeneration();
  registry.add(service("u1"), kThisProcess, kStart);
  const auto one = registry.typesGeneration();
  EXPECT_GT(one, none);
  registry.add(service("u2"), kThisProcess, kStart);
  registry.remove("u1", kThisProcess);
  EXPECT_EQ(registry.typesGeneration(), one);
  registry.remove("u2", kThisProcess);
  EXPECT_GT(registry.typesGeneration(), one);
}

// Attributes of a type

TEST(Registry, MergesTheAttributesOfAType) {
  Registry registry;
  registry.add(withLanguage(service("u1", "service:wbem:http"), "en", "(a=1),(b=x)"), kThisProcess, kStart);
  registry.add(withLanguage(service("u2", "service:wbem:https"), "en", "(a=2),(b=X),c"), kThisProcess, kStart);
  registry.add(withLanguage(service("u3", "service:wbem:https"), "de", "(d=4)"), kThisProcess, kStart);
  auto merged = registry.mergeAttributes({"service:wbem", "DEFAULT", "", "en"}, "", kStart, 1'000, admitAll);
  EXPECT_EQ(merged.attributes, "(a=1,2),(b=x),c");
  EXPECT_EQ(merged.found, 2U);
  EXPECT_FALSE(merged.cut);
  merged = registry.mergeAttributes({"service:wbem", "DEFAULT", "", "en"}, "a", kStart, 1'000, admitAll);
  EXPECT_EQ(merged.attributes, "(a=1,2)");
  merged = registry.mergeAttributes({"service:wbem", "DEFAULT", "", "en"}, "", kStart, 1'000,
                                    [](const Registry::Entry& entry) { return entry.url == "u2"; });
  EXPECT_EQ(merged.attributes, "(a=2),(b=X),c");
  merged = registry.mergeAttributes({"service:wbem", "DEFAULT", "", "fr"}, "", kStart, 1'000, admitAll);
  EXPECT_EQ(merged.result, ErrorCode::kLanguageNotSupported);
  merged = registry.mergeAttributes({"service:wbem", "DEFAULT", "", "en"}, "", kStart, 9, admitAll);
  EXPECT_TRUE(merged.cut);
  EXPECT_LE(merged.attributes.size(), 9U);
}

}  // namespace
}  // namespace slp::agent
