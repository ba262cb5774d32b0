#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/Candidate.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/Limits.h"
#include "unit/discovery/VerificationTest.h"

namespace {

/// Documents and texts that no server of ours sends, made from a seed. Their members are the ones that are looked for,
/// in the places where they are looked for, and elsewhere.
class Mischief {
 public:
  explicit Mischief(unsigned int seed) : mRandom(seed) {}

  std::string attributes() {
    std::string text = object(0);
    switch (mRandom() % 8) {
      case 0:
        return text.substr(0, below(text.size() + 1));  // torn
      case 1:
        text[below(text.size())] = static_cast<char>(mRandom());  // a byte gone wrong
        return text;
      default:
        return text;
    }
  }

  json::Object document() { return support::parsed(object(0)); }

  std::size_t below(std::size_t end) { return mRandom() % end; }

 private:
  static constexpr std::size_t kDeepest = 6;

  std::string value(std::size_t depth) {
    static constexpr std::string_view kScalars[] = {
        "null",          "true",        "false",        "0",     "-1",        "1e300",
        "-1e300",        "4294967295",  "4294967296.5", "\"\"",  "\"008.5\"", "\"10.0.0.1\"",
        "\"127.0.0.1\"", "\"\\u0000\"", "\"\xc3\xa4\"", "\".\"", "\"%1%%2%\""};
    const std::size_t kind = below(8 + 4 * depth);  // the deeper, the rarer
    if (depth < kDeepest && kind < 4) return object(depth + 1);
    if (depth < kDeepest && kind < 6) return array(depth + 1);
    return std::string(kScalars[below(std::size(kScalars))]);
  }

  std::string array(std::size_t depth) {
    std::string text = "[";
    for (std::size_t i = below(4); i > 0; --i)
      text += value(depth) + (i > 1 ? "," : "");
    return text + "]";
  }

  std::string object(std::size_t depth) {
    static constexpr std::string_view kNames[] = {"gid",       "properties", "os",       "network",
                                                  "nics",      "ipV4",       "ipV6",     "lastUpdatedCounter",
                                                  "displayId", "agents",     "build",    "lastCommunicatedIp",
                                                  "isPivot",   "isManual",   "serverIp", ""};
    std::string text = "{";
    std::size_t next = below(3);  // names come in order, so that none comes twice
    while (next < std::size(kNames)) {
      if (text.size() > 1) text += ",";
      text += "\"" + std::string(kNames[next]) + "\":" + value(depth);
      next += 1 + below(5);
    }
    return text + "}";
  }

  std::mt19937 mRandom;
};

class HostileAttributes : public VerificationTest {};

TEST_F(HostileAttributes, NeverThrowAndNeverLeaveMoreThanOneRecordBehind) {
  utils::logging::setMask(utils::logging::kDefaultMask);
  Mischief mischief(42);
  int filings = 0;
  int failures = 0;
  int refusals = 0;
  for (int round = 0; round < 4'000; ++round) {
    Inventory::mCycleDiscoveredHosts.clear();
    if (round % 3 == 0) {
      const int statuses[] = {200, 400, 405, 502};
      peers.answer(kIp, statuses[mischief.below(4)], mischief.document());
      inventory.clearUnreachable(kIp);
    }
    preferences.set("slp_find_service_strictness", std::to_string(mischief.below(3)));
    const std::string text = mischief.attributes();
    ASSERT_NO_THROW(verify(text, mischief.below(10) == 0)) << text;
    filings += Inventory::mCycleDiscoveredHosts.find(kIp) ? 1 : 0;
    failures += inventory.mapUnreachableIP.contains(kIp) ? 1 : 0;
    refusals += log.texts(utils::LOG_ERROR).empty() ? 0 : 1;
    if (mischief.below(4) == 0) endPass();
    log.clear();
  }
  // Compilers evaluate the calls of the generator in different orders, so each makes mischief of its own.
  EXPECT_GT(filings, 50) << "too tame to say anything";
  EXPECT_GT(failures, 50);
  EXPECT_GT(refusals, 50);
  for (const auto* list :
       {&Inventory::mCycleDiscoveredHosts, &Inventory::mPartialDiscoveredHosts, &Inventory::mDiscoveredHosts}) {
    EXPECT_LE(list->size(), 1u);
  }
  EXPECT_LE(Inventory::mUpdatedCounters.size(), 1u);
}

TEST_F(HostileAttributes, AreReadWithoutATrace) {
  Mischief mischief(7);
  for (int round = 0; round < 4'000; ++round) {
    const json::Object document = mischief.document();
    const discovery::Candidate candidate(kIp, document);
    ASSERT_EQ(support::written(candidate.attributes), support::written(document));
    ASSERT_LE(candidate.nics.size(), 1u);
  }
}

TEST_F(HostileAttributes, AreListedAndRebuiltWhateverTheirShape) {
  Mischief mischief(11);
  for (int round = 0; round < 300; ++round) {
    inventory.addHost(std::to_string(round), mischief.document());
    inventory.addToSearchHostList(std::to_string(round), mischief.document(), mischief.document(), round % 2 == 0);
    Inventory::mCycleDiscoveredHosts.insertOrReplace(std::to_string(mischief.below(400)), mischief.document());
    inventory.keysOfServer("10.0.0.1");
    if (round % 10 == 0) inventory.clearAutoDiscoveredServers();
  }
  json::Array out;
  inventory.getDiscoveredHost(out);
  EXPECT_EQ(out.Size(), discovery::DiscoveryMap::getDiscoveredHost().size());
}

std::string nested(std::size_t depth, std::string_view open, std::string_view close) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i)
    text += open;
  text += "1";
  for (std::size_t i = 0; i < depth; ++i)
    text += close;
  return text;
}

TEST_F(HostileAttributes, AreTurnedAwayWhenTheyAreTooDeep) {
  for (const std::string& text : {R"({"properties":)" + nested(20'000, "[", "]") + "}",
                                  R"({"properties":)" + nested(6'000, "{\"os\":", "}") + "}", std::string(60'000, '['),
                                  std::string(60'000, '{')}) {
    ASSERT_LE(text.size(), discovery::kMaxAttributesLength);
    verify(text);
    EXPECT_TRUE(isNowhere());
  }
  EXPECT_EQ(peers.calls(), 0);
}

TEST_F(HostileAttributes, AreVerifiedAsDeepAsTheyMayBe) {
  preferences.set("slp_find_service_strictness", "1");
  peers.answer(kIp, 405, support::parsed(R"({"properties":{"agents":[{"build":"008.1"}]}})"));
  verify(R"({"gid":"g","properties":{"os":)" + nested(250, "[", "]") + "}}");
  EXPECT_TRUE(isFiled());
}

TEST_F(HostileAttributes, MayFillTheirWholeLength) {
  peers.answer(kIp, 405, support::parsed(R"({"properties":{"agents":[{"build":"008.1"}]}})"));
  std::string nics = "{}";
  while (nics.size() < 60'000)
    nics += R"(,{"ipV4":"10.0.0.1","ipV6":1},[],null,"10.0.0.1")";
  system.setAddresses({"10.9.9.9"});
  verify(R"({"gid":"g","properties":{"os":{"network":{"nics":[)" + nics + "]}}}}");
  EXPECT_TRUE(isFiled());

  std::string longText = R"({"properties":{"os":")";
  longText += std::string(discovery::kMaxAttributesLength - longText.size() - 3, 'x') + "\"}}";
  ASSERT_EQ(longText.size(), discovery::kMaxAttributesLength);
  verify(longText);
  EXPECT_TRUE(isFiled());
}

TEST_F(HostileAttributes, OfEveryTypeGoTheLegacyPathWithoutHarm) {
  peers.answer(kIp, 200, support::parsed(R"({"properties":{"agents":[{"build":"008.1"}],
      "os":{"network":{"lastCommunicatedIp":{"ipV4":"10.0.0.9"}}}}})"));
  for (const char* os : {"null", "1", "\"x\"", "[]", "{}", R"({"network":7})", R"({"network":{"nics":{}}})",
                         R"({"network":{"lastCommunicatedIp":[1]}})"}) {
    Inventory::mPartialDiscoveredHosts.clear();
    Inventory::mCycleDiscoveredHosts.clear();
    verify(std::string(R"({"properties":{"os":)") + os + "}}");
    EXPECT_EQ(textOf(Inventory::mPartialDiscoveredHosts, kIp).find(R"("lastCommunicatedIp":{"ipV4":"10.0.0.9"})") !=
                  std::string::npos,
              true)
        << os;
  }
}

TEST_F(HostileAttributes, OfEveryTypeFromACurrentServerAreFiledWithoutHarm) {
  for (const char* body : {R"({"properties":7})", R"({"properties":[]})", R"({"x":1})",
                           R"({"properties":{"agents":"x","isPivot":"yes"}})"}) {
    Inventory::mPartialDiscoveredHosts.clear();
    Inventory::mCycleDiscoveredHosts.clear();
    peers.answer(kIp, 200, support::parsed(body));
    verify(R"({"properties":{}})");
    EXPECT_NE(textOf(Inventory::mPartialDiscoveredHosts, kIp).find(R"("isPivot":false)"), std::string::npos) << body;
  }
}

}  // namespace
