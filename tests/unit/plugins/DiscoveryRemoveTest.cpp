// REMOVE of a listed server.

#include "PluginTest.h"

namespace plugins {
namespace {

class DiscoveryRemove : public PluginTest {
 protected:
  static void expectRemoved(const support::Answer& answer) {
    EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
    EXPECT_EQ(support::written(answer.body), R"({"status":[{"code":0,"desc":"Success"}]})");
  }
  static void expectFailure(const support::Answer& answer) {
    EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST);
    EXPECT_EQ(support::written(answer.body), R"({"status":[{"code":1,"desc":"Failure"}]})");
  }
};

TEST_F(DiscoveryRemove, TakesAServerOutByItsAddress) {
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  announce("10.0.0.6", serverRecord("beta", "10.0.0.6"));
  expectRemoved(remove("/1.0/servers/10.0.0.5"));
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.6"));
}

TEST_F(DiscoveryRemove, TakesAServerOutByItsIdentifier) {
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  expectRemoved(remove("/1.0/servers/alpha"));
  EXPECT_THAT(announcedAddresses(), testing::IsEmpty());
}

TEST_F(DiscoveryRemove, DoesNotMindTheCaseOfTheUri) {
  announce("10.0.0.5", serverRecord("Alpha", "10.0.0.5"));
  expectRemoved(remove("/1.0/SERVERS/ALPHA"));
  EXPECT_THAT(announcedAddresses(), testing::IsEmpty());
}

TEST_F(DiscoveryRemove, ReadsTheIdentifierBehindThePrefixAndEncoding) {
  preferences.set("uri_prefix", "/kvt");
  announce("fe80::1%eth0", serverRecord("alpha", "10.0.0.5"));
  expectRemoved(remove("/kvt/1.0/servers/fe80::1%25eth0"));
}

TEST_F(DiscoveryRemove, TakesOutWhatWasAdded) {
  serveDetails(serverRecord("local", "10.0.0.1"));
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  add("/1.0/servers/alpha");
  expectRemoved(remove("/1.0/servers/alpha"));
  EXPECT_EQ(json::numberAt(get("/1.0/servers").body, {"count"}), 1);
}

TEST_F(DiscoveryRemove, TakesOutTheListedOneOfTwoSearchesForOneServer) {
  fileSearched("10.0.0.6", serverRecord("alpha", "10.0.0.6"));
  add("/1.0/servers/alpha");
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));  // comes first, and is not listed
  expectRemoved(remove("/1.0/servers/alpha"));
  EXPECT_THAT(announcedAddresses(), testing::IsEmpty());
  expectFailure(remove("/1.0/servers/alpha"));
}

TEST_F(DiscoveryRemove, TakesOutWhatWasSearchedForByNameAndAdded) {
  fileSearched(
      "alpha",
      support::parsed(
          R"({"properties":{"displayId":"alpha","os":{"network":{"lastCommunicatedIp":{"ipV4":"10.0.0.5"}}}}})"));
  add("/1.0/servers/alpha");
  ASSERT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.5"));
  expectRemoved(remove("/1.0/servers/alpha"));
  EXPECT_THAT(announcedAddresses(), testing::IsEmpty());
}

TEST_F(DiscoveryRemove, FailsForAServerThatIsNotListed) {
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  fileSearched("10.0.0.6", serverRecord("beta", "10.0.0.6"));
  expectFailure(remove("/1.0/servers/gamma"));
  expectFailure(remove("/1.0/servers/beta"));
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.5"));
  EXPECT_THAT(searchedKeys(), testing::ElementsAre("10.0.0.6"));
}

TEST_F(DiscoveryRemove, FailsTheSecondTime) {
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  expectRemoved(remove("/1.0/servers/10.0.0.5"));
  expectFailure(remove("/1.0/servers/10.0.0.5"));
}

TEST_F(DiscoveryRemove, FailsForAUriThatNamesNoServer) {
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  for (const char* const uri : {"", "10.0.0.5", "/1.0/searchedserver/10.0.0.5", "/1.0/servers", "/1.0/servers/"}) {
    expectFailure(remove(uri));
  }
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.5"));
}

TEST_F(DiscoveryRemove, DoesNotMatchServersWithoutAnIdentifier) {
  announce("10.0.0.5", {});
  expectFailure(remove("/1.0/servers/"));
  expectFailure(remove("/1.0/servers/alpha"));
}

}  // namespace
}  // namespace plugins
