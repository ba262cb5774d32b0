#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "framework/launcher/Preferences.h"
#include "framework/utils/Shutdown.h"
#include "host/Server.h"
#include "json/lookup.h"
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/PreferencesGuard.h"
#include "support/Requests.h"
#include "support/Wait.h"
#include "unit/host/RawClient.h"
#include "unit/host/ScriptedServer.h"
#include "unit/host/TemporaryDirectory.h"

namespace {

using host::Server;
using host::Settings;
using host_test::getRequest;
using host_test::postRequest;
using host_test::RawClient;
using support::parsed;

class ServerTest : public testing::Test {
 protected:
  ServerTest() {
    mSettings.listen = {{"127.0.0.1", 0}};
    mSettings.stateDirectory = mState.path().string();
    mSettings.tls.isEnabled = false;
    mSettings.access.anonymous = host::Role::kOperator;
    mSettings.peers.allowedNetworks = {"127.0.0.0/8"};
    mSettings.peers.mayUseHttp = true;
  }
  ~ServerTest() override {
    mServer.reset();
    utils::shutdown::reset();
  }

  void start(const std::string& plugins = SD_FIXTURES) {
    mServer = std::make_unique<Server>(mSettings);
    const auto endpoints = mServer->listen();
    ASSERT_TRUE(endpoints) << endpoints.error();
    mPort = endpoints->front().port;
    mServer->start(plugins);
  }
  RawClient client() { return RawClient(mPort); }

  support::PreferencesGuard mPreferences;
  support::ManagerGuard mManager;
  support::FakeSystem mSystem;
  support::LogCapture mLog;
  host_test::TemporaryDirectory mState;
  Settings mSettings;
  std::unique_ptr<Server> mServer;
  std::uint16_t mPort = 0;
};

TEST_F(ServerTest, ServesItsOwnResourcesAndThoseOfHealthyPlugins) {
  start();
  RawClient one = client();
  EXPECT_EQ(one.ask(getRequest("/healthz")).body, R"({"status":{"code":0,"desc":"Success"}})");
  EXPECT_EQ(one.ask(getRequest("/1.0/servers/self")).status, 200);
  EXPECT_EQ(one.ask(getRequest("/1.0/fixture")).body, R"({"fixture":"healthy"})");
  EXPECT_EQ(one.ask(getRequest("/1.0/fixture/throwsinstartup")).status, 404);
  EXPECT_EQ(one.ask(getRequest("/1.0/remoteservercall")).status, 404);
  EXPECT_EQ(mServer->plugins().size(), 2U);
}

TEST_F(ServerTest, SetsThePortThatItListensOn) {
  start();
  EXPECT_EQ(launcher::Preferences::get_instance()->get_listening_port(), std::to_string(mPort));
  const auto answer = client().ask(getRequest("/1.0/servers/self"));
  EXPECT_NE(answer.body.find("\"listen\":[{\"address\":\"127.0.0.1\",\"port\":" + std::to_string(mPort) +
                             ",\"scheme\":\"http\"}]"),
            std::string::npos)
      << answer.body;
}

TEST_F(ServerTest, ListensAtThePreferredPortWhenNothingElseIsSaid) {
  mSettings.listen.clear();
  mSettings.preferences["listening_port"] = "0";
  mSettings.preferences["uri_prefix"] = "/kvt";
  start();
  EXPECT_NE(mPort, 0);
  EXPECT_EQ(client().ask(getRequest("/kvt/healthz")).status, 200);
}

TEST_F(ServerTest, SaysThatItCannotListen) {
  start();
  Settings settings = mSettings;
  settings.listen = {{"127.0.0.1", mPort}};
  Server other(settings);
  const auto endpoints = other.listen();
  ASSERT_FALSE(endpoints);
  EXPECT_TRUE(endpoints.error().starts_with("cannot listen on 127.0.0.1:")) << endpoints.error();
}

TEST_F(ServerTest, AnswersItsOwnDetailsWhileEveryOtherLaneIsFull) {
  mSettings.limits.actionThreads = mSettings.limits.actionBacklog = 1;
  mSettings.limits.readThreads = mSettings.limits.readBacklog = 1;
  start();
  std::atomic<bool> release = false;
  std::atomic<int> running = 0;
  support::FakePlugin plugin;
  const auto wait = [&](const support::Request&, json::Object&) {
    ++running;
    support::waitFor([&] { return release.load(); });
    return http::HTTPCommand::HTTP_OK;
  };
  plugin.get("/slow", wait).post("/slow", wait);
  std::vector<RawClient> clients;
  const auto sendBoth = [&] {
    for (const auto& text : {getRequest("/slow"), postRequest("/slow", "")}) {
      clients.push_back(client());
      clients.back().send(text);
    }
  };
  sendBoth();
  EXPECT_TRUE(support::waitFor([&] { return running == 2; }));
  sendBoth();  // these two fill the backlogs, once they have been read, which an answer to a later request shows
  EXPECT_EQ(client().ask(getRequest("/healthz")).status, 200);
  EXPECT_TRUE(support::waitFor([&] { return client().ask(getRequest("/slow")).status == 503; }));
  EXPECT_TRUE(support::waitFor([&] { return client().ask(postRequest("/slow", "")).status == 503; }));
  EXPECT_EQ(client().ask(getRequest("/1.0/servers/self")).status, 200);
  EXPECT_EQ(client().ask(getRequest("/healthz")).status, 200);
  release = true;
  for (RawClient& each : clients) {
    EXPECT_EQ(each.read().status, 200);
  }
}

TEST_F(ServerTest, EndsWithASearchUnderWay) {
  start(SD_PLUGINS);
  host_test::ScriptedServer* hanging = nullptr;
  host_test::ScriptedServer silent([&](const std::string&) { return hanging->hang(); });
  hanging = &silent;
  launcher::Preferences::get_instance()->set("listening_port", std::to_string(silent.port()));
  RawClient searching = client();
  searching.send(postRequest("/1.0/servers/self/operations/discovery",
                             R"({"action":"SEARCH","parameters":{"address":"127.0.0.1"}})"));
  ASSERT_TRUE(support::waitFor([&] { return silent.requests().size() == 1; }));
  mServer->stop();
  const auto answer = searching.read();
  EXPECT_EQ(answer.status, 400) << "the search was called off and still answered";
  EXPECT_EQ(answer.header("connection"), "close");
}

TEST_F(ServerTest, EndsUnderLoad) {
  start(SD_PLUGINS);
  std::atomic<int> answered = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, port = mPort] {
      try {
        RawClient one(port);
        while (one.ask(getRequest("/1.0/servers")).status == 200) {
          ++answered;
        }
      } catch (const std::runtime_error&) {  // nobody listens any more
      }
    });
  }
  EXPECT_TRUE(support::waitFor([&] { return answered > 100; }));
  mServer->stop();
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_ANY_THROW(client());
}

TEST_F(ServerTest, FindsAnotherServerByAskingItself) {
  start(SD_PLUGINS);
  RawClient one = client();
  const auto found = one.ask(postRequest("/1.0/servers/self/operations/discovery",
                                         R"({"action":"SEARCH","parameters":{"address":"127.0.0.1"}})"));
  EXPECT_EQ(found.status, 200) << found.body;
  const auto record = parsed(one.ask(getRequest("/1.0/searchedserver/127.0.0.1")).body);
  EXPECT_NE(support::written(record).find("\"displayId\":\"local\""), std::string::npos) << support::written(record);
}

}  // namespace
