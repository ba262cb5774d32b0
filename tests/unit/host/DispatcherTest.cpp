#include <atomic>
#include <future>
#include <mutex>

#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Exceptions.h"
#include "framework/utils/Shutdown.h"
#include "host/http/Dispatcher.h"
#include "json/lookup.h"
#include "support/FakePlugin.h"
#include "support/PreferencesGuard.h"
#include "support/Requests.h"
#include "support/Wait.h"

namespace {

using host::Answer;
using host::ClientRequest;
using host::Dispatcher;
using http::HTTPCommand;
using http::RestApi;

/// One answer that is waited for.
class Awaited {
 public:
  host::Service::Done done() {
    return [promise = mPromise](Answer answer) { promise->set_value(std::move(answer)); };
  }
  Answer get() {
    if (mFuture.wait_for(std::chrono::seconds(20)) != std::future_status::ready) return Answer{0, "", {}, false};
    return mFuture.get();
  }
  bool isReady() const { return mFuture.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }

 private:
  std::shared_ptr<std::promise<Answer>> mPromise = std::make_shared<std::promise<Answer>>();
  std::future<Answer> mFuture = mPromise->get_future();
};

class DispatcherTest : public testing::Test {
 protected:
  DispatcherTest() {
    mLimits.promptThreads = mLimits.readThreads = mLimits.actionThreads = 1;
    mLimits.readBacklog = mLimits.actionBacklog = 1;
    mPlugin
        .get("/1.0/echo/{name}",
             [](const support::Request& request, json::Object& response) {
               response["name"] = json::String(request.parameter("{name}"));
               response["cookies"] = json::String(request.cookies());
               response["uri"] = json::String(request.command.getRequestVariable("REQUEST_URI"));
               response["from"] = json::String(request.command.getRequestVariable("REMOTE_ADDR"));
               response["body"] = request.body;
               return HTTPCommand::HTTP_OK;
             })
        .get("/prompt",
             [](const support::Request&, json::Object& response) {
               response["prompt"] = json::Boolean(true);
               return HTTPCommand::HTTP_OK;
             })
        .get("/fails",
             [](const support::Request&, json::Object&) -> HTTPCommand::HTTPStatus_ {
               throw utils::InputException("a.cpp", 1, "no good", 409);
             })
        .get("/nothing", [](const support::Request&, json::Object&) { return HTTPCommand::HTTP_NO_CONTENT; })
        .get("/slow", [this](const support::Request&, json::Object&) { return wait(); })
        .post("/slow", [this](const support::Request&, json::Object&) { return wait(); })
        .serveInProcess(RestApi(RestApi::GET, "/secret", false),
                        [](const support::Request&, json::Object&) { return HTTPCommand::HTTP_OK; });
    mDispatcher = std::make_unique<Dispatcher>(mManager.manager(), *launcher::Preferences::get_instance(), mLimits,
                                               std::vector<std::string>{"/prompt"});
  }
  ~DispatcherTest() override {
    release();
    mDispatcher.reset();
    utils::shutdown::reset();
  }

  Answer ask(const std::string& method, const std::string& target, const std::string& body = "") {
    Awaited answer;
    mDispatcher->serve({method, target, "a=b", body, "192.0.2.7"}, answer.done());
    return answer.get();
  }
  Awaited begin(const std::string& method, const std::string& target) {
    Awaited answer;
    mDispatcher->serve({method, target, "", "", ""}, answer.done());
    return answer;
  }
  void release() {
    std::call_once(mReleased, [this] { mRelease.set_value(); });
  }

  std::atomic<int> mRunning = 0;

 private:
  HTTPCommand::HTTPStatus_ wait() {
    ++mRunning;
    mReleaseFuture.wait();
    return HTTPCommand::HTTP_OK;
  }

  support::PreferencesGuard mPreferences;
  support::ManagerGuard mManager;
  std::promise<void> mRelease;
  std::shared_future<void> mReleaseFuture = mRelease.get_future().share();
  std::once_flag mReleased;
  host::Limits mLimits;
  support::FakePlugin mPlugin;

 protected:
  std::unique_ptr<Dispatcher> mDispatcher;
};

TEST_F(DispatcherTest, BringsARequestToItsHandlerWithEverythingInIt) {
  const auto answer = ask("GET", "/1.0/echo/a%20b?x=y", "{\"n\":1}");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body,
            R"({"name":"a b","cookies":"a=b","uri":"/1.0/echo/a%20b?x=y","from":"192.0.2.7","body":{"n":1}})");
}

TEST_F(DispatcherTest, TakesHeadForGet) {
  EXPECT_EQ(ask("HEAD", "/prompt").body, R"({"prompt":true})");
}

TEST_F(DispatcherTest, LeavesTheUriPrefixOut) {
  launcher::Preferences::get_instance()->set("uri_prefix", "/kvt");
  EXPECT_EQ(ask("GET", "/kvt/prompt").status, 200);
  EXPECT_EQ(ask("GET", "/prompt").status, 200);
}

TEST_F(DispatcherTest, AnswersForUnknownPaths) {
  for (const char* target : {"/", "/nowhere", "/1.0/echo", "/1.0/echo/a/b", "/PROMPT", "/1.0/echo/%zz"}) {
    const auto answer = ask("GET", target);
    EXPECT_EQ(answer.status, 404) << target;
    EXPECT_EQ(
        answer.body,
        R"({"status":{"code":404,"desc":"There is no such resource: /openapi.json lists those that there are"}})");
  }
}

TEST_F(DispatcherTest, HidesWhatIsForTheProcessAlone) {
  EXPECT_EQ(ask("GET", "/secret").status, 404);
  EXPECT_EQ(ask("POST", "/secret").status, 404);
}

TEST_F(DispatcherTest, SaysWhichVerbsAResourceTakes) {
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "get"}) {
    const auto answer = ask(method, "/prompt");
    EXPECT_EQ(answer.status, 405) << method;
    EXPECT_EQ(answer.headers, (decltype(answer.headers){{"Allow", "GET, HEAD"}})) << method;
    EXPECT_EQ(json::numberAt(support::parsed(answer.body), {"status", "code"}), 405) << method;
  }
  EXPECT_EQ(ask("PUT", "/slow").headers, (decltype(Answer::headers){{"Allow", "GET, HEAD, POST"}}));
}

TEST_F(DispatcherTest, RefusesABodyThatIsNoObject) {
  const auto answer = ask("GET", "/prompt", "{\"a\":");
  EXPECT_EQ(answer.status, 400);
  EXPECT_NE(answer.body.find("line 1, column 6"), std::string::npos) << answer.body;
}

TEST_F(DispatcherTest, PassesOnWhatAHandlerThrows) {
  const auto answer = ask("GET", "/fails");
  EXPECT_EQ(answer.status, 409);
  EXPECT_EQ(answer.body, R"({"status":{"code":409,"desc":"no good"}})");
}

TEST_F(DispatcherTest, PassesOnThatThereIsNoContent) {
  EXPECT_EQ(ask("GET", "/nothing").status, 204);
}

TEST_F(DispatcherTest, RefusesWhatABacklogDoesNotHold) {
  Awaited running = begin("POST", "/slow");
  ASSERT_TRUE(support::waitFor([this] { return mRunning == 1; }));
  Awaited waiting = begin("POST", "/slow");
  const auto refusal = ask("POST", "/slow");
  EXPECT_EQ(refusal.status, 503);
  EXPECT_EQ(refusal.body, R"({"status":{"code":503,"desc":"The server is busy: try again in a second"}})");
  EXPECT_EQ(refusal.headers, (decltype(refusal.headers){{"Retry-After", "1"}}));
  EXPECT_FALSE(refusal.close);
  EXPECT_FALSE(running.isReady());
  release();
  EXPECT_EQ(running.get().status, 200);
  EXPECT_EQ(waiting.get().status, 200);
}

TEST_F(DispatcherTest, ServesEachLaneWhileTheOthersAreFull) {
  Awaited action = begin("POST", "/slow");
  ASSERT_TRUE(support::waitFor([this] { return mRunning == 1; }));
  Awaited read = begin("GET", "/slow");
  ASSERT_TRUE(support::waitFor([this] { return mRunning == 2; })) << "reads do not wait for actions";
  Awaited waiting[] = {begin("POST", "/slow"), begin("GET", "/slow")};
  EXPECT_EQ(ask("POST", "/slow").status, 503);
  EXPECT_EQ(ask("GET", "/1.0/echo/x").status, 503);
  EXPECT_EQ(ask("GET", "/prompt").status, 200) << "nothing holds up the prompt lane";
  EXPECT_EQ(ask("GET", "/nowhere").status, 404);
  release();
  EXPECT_EQ(action.get().status, 200);
  EXPECT_EQ(read.get().status, 200);
  EXPECT_EQ(waiting[0].get().status, 200);
  EXPECT_EQ(waiting[1].get().status, 200);
}

TEST_F(DispatcherTest, TakesNothingMoreWhenTheHostShutsDown) {
  utils::shutdown::begin();
  const auto answer = ask("GET", "/prompt");
  EXPECT_EQ(answer.status, 503);
  EXPECT_TRUE(answer.close);
  EXPECT_EQ(answer.body, R"({"status":{"code":503,"desc":"The server is shutting down: try again when it is back"}})");
}

TEST_F(DispatcherTest, RefusesEverythingOnceItIsClosed) {
  mDispatcher->close();
  EXPECT_EQ(ask("GET", "/prompt").status, 503);
}

}  // namespace
