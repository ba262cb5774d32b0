#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "host/http/Routes.h"
#include "host/observe/Observatory.h"
#include "host/observe/ObserveResources.h"
#include "json/lookup.h"
#include "support/FakeSystem.h"

namespace {

using host::Answer;
using host::ClientRequest;
using host::Observatory;

struct Nobody : host::Service {
  void serve(ClientRequest, Done done) override { done(host::failureAnswer(404, "nobody")); }
};

class ObserveRoutesTest : public testing::Test {
 protected:
  ObserveRoutesTest() { host::addObserveRoutes(mRoutes, mObservatory); }

  Answer get(const std::string& target) {
    ClientRequest request;
    request.method = "GET";
    request.target = target;
    Answer taken;
    mRoutes.serve(std::move(request), [&](Answer answer) { taken = std::move(answer); });
    return taken;
  }

  const std::shared_ptr<Observatory> mObservatory = std::make_shared<Observatory>();
  Nobody mNobody;
  host::Routes mRoutes{"", mNobody};
};

TEST_F(ObserveRoutesTest, AreReadyOncePluginsAreStarted) {
  EXPECT_EQ(get("/readyz").status, 503);
  mObservatory->setReady(true);
  EXPECT_EQ(get("/readyz").status, 200);
  EXPECT_EQ(get("/readyz").body, R"({"status":{"code":0,"desc":"Success"}})");
  mObservatory->setReady(false);
  EXPECT_EQ(get("/readyz").status, 503);
}

TEST_F(ObserveRoutesTest, GiveMetricsAsText) {
  const Answer answer = get("/metrics");
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.headers,
              testing::Contains(testing::Pair("Content-Type", testing::StartsWith("text/plain; version=0.0.4"))));
  EXPECT_THAT(answer.body, testing::HasSubstr("# TYPE kvt_build_info gauge\n"));
}

class ObserveResourcesTest : public testing::Test {
 protected:
  json::Object get(const std::string& path) {
    http::Command command(http::Command::Request{http::RestApi::GET, path, path, "", "192.0.2.9", json::Object()});
    mManager.execute(&command);
    EXPECT_EQ(command.getHTTPStatus(), 200);
    return command.getResponseBody();
  }

  support::FakeSystem mSystem;
  launcher::PluginManager mManager;
  const std::shared_ptr<Observatory> mObservatory = std::make_shared<Observatory>();
  host::ObserveResources mResources{mManager, mObservatory};
};

TEST_F(ObserveResourcesTest, AnswerWhyServersAreThere) {
  mObservatory->sighted({"192.0.2.1", "Alpha", utils::Sighting::Source::kSlp, utils::Sighting::Outcome::kSeen, ""});
  const json::Object answer = get("/1.0/sightings");
  EXPECT_EQ(json::numberAt(answer, {"status", "code"}), 0);
  EXPECT_EQ(json::numberAt(answer, {"count"}), 1);
  const json::Array* const values = json::arrayAt(answer, {"values"});
  ASSERT_NE(values, nullptr);
  const json::Object& sighting = (*values)[0];
  EXPECT_EQ(json::textAt(sighting, {"address"}), "192.0.2.1");
}

TEST_F(ObserveResourcesTest, AnswerHowTheServerIs) {
  const json::Object answer = get("/1.0/status");
  EXPECT_EQ(json::numberAt(answer, {"status", "code"}), 0);
  EXPECT_NE(json::objectAt(answer, {"value", "discovery"}), nullptr);
  EXPECT_NE(json::arrayAt(answer, {"value", "interfaces"}), nullptr);
}

TEST(ObserveResources, LeaveTheManagerWhenTheyEnd) {
  launcher::PluginManager manager;
  {
    const host::ObserveResources resources(manager, std::make_shared<Observatory>());
    EXPECT_NE(manager.find(http::RestApi::GET, "/1.0/status"), nullptr);
  }
  EXPECT_EQ(manager.find(http::RestApi::GET, "/1.0/status"), nullptr);
}

}  // namespace
