#include <limits>

#include <gtest/gtest.h>

#include "discovery/Candidate.h"
#include "discovery/Limits.h"
#include "framework/launcher/KVTCrypto.h"
#include "support/LogCapture.h"
#include "support/Requests.h"

namespace {

using discovery::Candidate;
using discovery::readCandidate;

Candidate candidateOf(const char* attributes) {
  return Candidate("10.0.0.9", support::parsed(attributes));
}

TEST(Candidate, IsReadFromItsAttributes) {
  const auto candidate = readCandidate("10.0.0.9", R"({"gid":"g1","properties":{
      "displayId":"peer", "lastUpdatedCounter":7, "nics":[{"ipV4":"10.0.0.9"}]}})");
  ASSERT_TRUE(candidate);
  EXPECT_EQ(candidate->address, "10.0.0.9");
  EXPECT_EQ(candidate->gid, "g1");
  EXPECT_EQ(candidate->displayId, "peer");
  EXPECT_EQ(candidate->updatedCounter, 7u);
  EXPECT_FALSE(candidate->isLegacyServer);
  ASSERT_EQ(candidate->nics.size(), 1u);
  EXPECT_EQ(candidate->nics.front().Size(), 1u);
}

TEST(Candidate, ReadsAsNothingWhatIsMissing) {
  const Candidate candidate = candidateOf("{}");
  EXPECT_EQ(candidate.gid, "");
  EXPECT_EQ(candidate.displayId, "");
  EXPECT_EQ(candidate.updatedCounter, 0u);
  EXPECT_FALSE(candidate.isLegacyServer);
  EXPECT_TRUE(candidate.nics.empty());
}

TEST(Candidate, LeavesNoTraceInItsAttributes) {
  for (const char* text : {"{}", R"({"properties":null})", R"({"gid":1,"properties":{"os":"x"}})"})
    EXPECT_EQ(candidateOf(text).attributes, support::parsed(text)) << text;
}

struct NicsRow {
  const char* name;
  const char* record;
  bool isLegacy;
  std::size_t arrays;
  std::size_t size;
};

TEST(Candidate, TakesItsInterfacesAndTheLegacyMarkFromWhereTheyAre) {
  const NicsRow rows[] = {
      {"of the operating system", R"({"properties":{"os":{"network":{"nics":[1,2]}},"nics":[3]}})", true, 1, 2},
      {"of the properties when the system has none", R"({"properties":{"os":{},"nics":[3]}})", true, 1, 1},
      {"of the properties when the system's are no array",
       R"({"properties":{"os":{"network":{"nics":"x"}},"nics":[3]}})", true, 1, 1},
      {"of the properties without a system", R"({"properties":{"nics":[3,4,5]}})", false, 1, 3},
      {"an empty array is one", R"({"properties":{"os":{"network":{"nics":[]}},"nics":[3]}})", true, 1, 0},
      {"a system of any type marks a legacy server", R"({"properties":{"os":null}})", true, 0, 0},
      {"a system beside the properties counts for nothing", R"({"os":{"network":{"nics":[1]}}})", false, 0, 0},
      {"properties that are none", R"({"properties":"os"})", false, 0, 0},
  };
  for (const NicsRow& row : rows) {
    const Candidate candidate = candidateOf(row.record);
    EXPECT_EQ(candidate.isLegacyServer, row.isLegacy) << row.name;
    ASSERT_EQ(candidate.nics.size(), row.arrays) << row.name;
    if (row.arrays > 0) {
      EXPECT_EQ(candidate.nics.front().Size(), row.size) << row.name;
    }
  }
}

TEST(Candidate, IsNoneWhenItsAttributesAreNoDocument) {
  for (const char* text : {"{", "x", "[1]", "{\"a\":1}}", "\"text\"", "{\"a\":1,\"a\":2}"}) {
    const support::LogCapture log;
    EXPECT_FALSE(readCandidate("10.0.0.9", text)) << text;
    const auto errors = log.texts(utils::LOG_ERROR);
    ASSERT_EQ(errors.size(), 1u) << text;
    EXPECT_TRUE(
        errors.front().starts_with("RemoteServerDiscovery:addDiscoveredHost:the attributes of 10.0.0.9 are no "
                                   "document:"))
        << errors.front();
  }
}

TEST(Candidate, IsNoneWhenItsAttributesAreTooLong) {
  const std::string longest = "{}" + std::string(discovery::kMaxAttributesLength - 2, ' ');
  EXPECT_TRUE(readCandidate("10.0.0.9", longest));
  const support::LogCapture log;
  EXPECT_FALSE(readCandidate("10.0.0.9", longest + " "));
  EXPECT_TRUE(log.has(utils::LOG_FAILURE,
                      "RemoteServerDiscovery:addDiscoveredHost:the attributes of 10.0.0.9 are too long:65537"));
}

TEST(UpdateCounter, IsCutAndKeptWithinItsRange) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr std::uint32_t kMaximum = 4'294'967'295u;
  const std::pair<std::optional<double>, std::uint32_t> rows[] = {
      {std::nullopt, 0},
      {0, 0},
      {-0.0, 0},
      {1, 1},
      {1.999, 1},
      {0.5, 0},
      {-1, 0},
      {-1e300, 0},
      {4294967294.5, 4294967294u},
      {4294967295.0, kMaximum},
      {4294967296.0, kMaximum},
      {1e300, kMaximum},
      {kInfinity, 0},
      {-kInfinity, 0},
      {std::numeric_limits<double>::quiet_NaN(), 0},
      {1e-300, 0},
  };
  for (const auto& [number, expected] : rows)
    EXPECT_EQ(discovery::toUpdateCounter(number), expected) << (number ? *number : -1);
}

constexpr const char* kPeer = R"({"gid":"%","properties":{"displayId":"peer"}})";

/// A candidate whose digest is that of its properties.
Candidate genuineCandidate() {
  json::Object properties = support::parsed(R"({"properties":{"displayId":"peer"}})");
  json::Object attributes = properties;
  attributes["gid"] = json::String(launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(properties));
  attributes["beside"] = json::Number(1);  // only the properties are hashed
  return Candidate("10.0.0.9", attributes);
}

TEST(Identity, IsNotCheckedWithoutADigestOrWithStrictnessZero) {
  const support::LogCapture log;
  EXPECT_TRUE(discovery::isIdentityAccepted(candidateOf(kPeer), 0));
  EXPECT_TRUE(discovery::isIdentityAccepted(candidateOf(R"({"properties":{}})"), 2));
  EXPECT_TRUE(discovery::isIdentityAccepted(candidateOf(R"({"gid":"","properties":{}})"), 2));
  EXPECT_TRUE(discovery::isIdentityAccepted(candidateOf(R"({"gid":7,"properties":{}})"), 2));
  EXPECT_FALSE(log.containsPart("verif")) << "no digest was computed";
}

TEST(Identity, IsConfirmedByTheDigestOfTheProperties) {
  const Candidate candidate = genuineCandidate();
  for (const unsigned int strictness : {1u, 2u}) {
    const support::LogCapture log;
    EXPECT_TRUE(discovery::isIdentityAccepted(candidate, strictness));
    EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost: verification for  strServerIp:10.0.0.9  \n[" +
                             candidate.gid + "] \n [" + candidate.gid + "]"));
    EXPECT_TRUE(
        log.contains("RemoteServerDiscovery:addDiscoveredHost: success verification for  strServerIp:10.0.0.9"));
    EXPECT_FALSE(log.containsPart("Failed to verify"));
  }
}

TEST(Identity, IsRejectedForAWrongDigestOnlyUnderStrictnessTwo) {
  const support::LogCapture log;
  const char* const failed = "RemoteServerDiscovery:addDiscoveredHost: Failed to verify strServerIp:10.0.0.9";
  EXPECT_TRUE(discovery::isIdentityAccepted(candidateOf(kPeer), 1));
  EXPECT_EQ(log.count(failed), 1u);
  EXPECT_FALSE(discovery::isIdentityAccepted(candidateOf(kPeer), 2));
  EXPECT_EQ(log.count(failed), 2u);
  EXPECT_FALSE(log.containsPart("success verification"));
}

TEST(Identity, IsNotConfirmedForACandidateWithoutProperties) {
  EXPECT_FALSE(discovery::isIdentityAccepted(candidateOf(R"({"gid":"g"})"), 2));
}

TEST(BuildVersion, IsTheBuildOfTheFirstAgentUpToTheFirstDot) {
  const std::pair<const char*, const char*> rows[] = {
      {R"({"properties":{"agents":[{"build":"008.5.1"},{"build":"009"}]}})", "008"},
      {R"({"properties":{"agents":[{"build":"008"}]}})", "008"},
      {R"({"properties":{"agents":[{"build":".8"}]}})", ""},
      {R"({"properties":{"agents":[{"build":8}]}})", ""},
      {R"({"properties":{"agents":[{}]}})", ""},
      {R"({"properties":{"agents":["008"]}})", ""},
      {R"({"properties":{"agents":[]}})", ""},
      {R"({"properties":{"agents":{"build":"008"}}})", ""},
      {R"({"properties":7})", ""},
      {R"({})", ""},
  };
  for (const auto& [record, expected] : rows)
    EXPECT_EQ(discovery::buildVersion(support::parsed(record)), expected) << record;
}

TEST(BuildVersion, IsLoggedBeforeAndAfterTheCut) {
  const support::LogCapture log;
  discovery::buildVersion(support::parsed(R"({"properties":{"agents":[{"build":"008.5.1"}]}})"));
  EXPECT_EQ(log.texts(),
            (std::vector<std::string>{"RemoteServerDiscovery:addDiscoveredHost:Initial strBuildVersion:008.5.1",
                                      "RemoteServerDiscovery:addDiscoveredHost:Final strBuildVersion:008"}));
}

}  // namespace
