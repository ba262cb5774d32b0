#include <deque>
#include <functional>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/WatchCommand.h"

namespace cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kOne = R"({"properties": {"displayId": "one", "isPivot": true}})";
constexpr const char* kTwo = R"({"properties": {"displayId": "two"}})";
constexpr const char* kHello = "event: hello\ndata: {\"version\":\"1\"}\n\n";

/// A server whose answers to GET /1.0/events come from a list, one for each call; after the last the user ends it.
class Watching : public testing::Test {
 protected:
  using Answer = std::function<httpclient::Response(const httpclient::Request&)>;

  static httpclient::Response streamed(const httpclient::Request& request, const std::string& text) {
    httpclient::Response response;
    response.status = 200;
    response.headers = {"Content-Type: text/event-stream"};
    if (!request.onBody(text)) response.error = httpclient::ErrorKind::kCancelled;
    return response;
  }
  static httpclient::Response plain(int status, std::string body) {
    httpclient::Response response;
    response.status = status;
    response.body = std::move(body);
    return response;
  }
  static httpclient::Response failed() {
    httpclient::Response response;
    response.error = httpclient::ErrorKind::kUnreachable;
    response.errorText = "refused";
    return response;
  }

  void stream(std::string text) {
    mStreams.push_back([text](const httpclient::Request& request) { return streamed(request, text); });
  }
  void answer(httpclient::Response response) {
    mStreams.push_back([response](const httpclient::Request&) { return response; });
  }

  ExitCode run(Format format = Format::kTable) {
    Options options;
    options.command = Command::kWatch;
    options.format = format;
    const RestClient client([this](const httpclient::Request& request) { return respond(request); }, FakeServer::kUrl,
                            std::chrono::seconds(3));
    return runWatchCommand(options, client, mOut, mErr, [this](std::chrono::milliseconds wait) {
      if (wait.count() > 0) mPauses.push_back(wait.count());
      return mIsOver || (wait.count() > 0 && mPauses.size() >= mMostPauses);
    });
  }

  httpclient::Response respond(const httpclient::Request& request) {
    if (request.url.ends_with("/1.0/servers"))
      return mIsDown ? failed() : plain(200, "{\"values\": [" + mServers + "]}");
    if (request.url.ends_with("/1.0/sightings")) return plain(404, R"({"status": {"code": 404, "desc": "Not found"}})");
    EXPECT_TRUE(request.url.ends_with("/1.0/events")) << request.url;
    if (mStreams.empty()) {
      mIsOver = true;
      return failed();
    }
    const Answer next = mStreams.front();
    mStreams.pop_front();
    return next(request);
  }

  std::deque<Answer> mStreams;
  std::string mServers = kOne;
  bool mIsDown = false;
  bool mIsOver = false;
  std::size_t mMostPauses = 100;
  std::vector<long> mPauses;
  std::ostringstream mOut;
  std::ostringstream mErr;
};

TEST_F(Watching, PrintsWhatThereIsAndWhatChanges) {
  stream(
      std::string(kHello) + "event: servers\ndata: {\"changed\":[{\"key\":\"two\",\"record\":" + kTwo +
      "}],\"removed\":[],\"count\":2}\n\nevent: servers\ndata: {\"changed\":[],\"removed\":[\"two\"],\"count\":1}\n\n"
      "event: sightings\ndata: {\"changed\":[{\"address\":\"10.0.0.9\",\"state\":\"failed\",\"reason\":\"gone\"}]}\n\n"
      "event: status\ndata: {}\n\n");
  EXPECT_EQ(run(), ExitCode::kDone);
  EXPECT_EQ(mOut.str(),
            "  one this server\n"
            "+ two discovered\n"
            "- two no longer listed\n"
            "~ 10.0.0.9 failed: gone\n");
}

TEST_F(Watching, SaysThatAServerLeftWhenThatIsToldRightAfter) {
  mServers =
      std::string(kOne) +
      R"(, {"properties": {"displayId": "two", "os": {"network": {"lastCommunicatedIp": {"ipV4": "10.0.0.2"}}}}})";
  stream(std::string(kHello) +
         "event: servers\ndata: {\"changed\":[],\"removed\":[\"10.0.0.2\"],\"count\":1}\n\n"
         "event: sightings\ndata: {\"changed\":[{\"address\":\"10.0.0.2\",\"state\":\"left\"}]}\n\n");
  EXPECT_EQ(run(), ExitCode::kDone);
  EXPECT_THAT(mOut.str(), testing::EndsWith("- two 10.0.0.2 left\n"));
}

TEST_F(Watching, KeepsNewsNoLongerWhenNothingFollowsThem) {
  mStreams.push_back([this](const httpclient::Request& request) {
    const std::string news =
        "event: servers\ndata: {\"changed\":[{\"key\":\"two\",\"record\":" + std::string(kTwo) + "}]}\n\n";
    httpclient::Response response = streamed(request, kHello + news);
    EXPECT_EQ(mOut.str(), "  one this server\n");
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (mOut.str().find("two") == std::string::npos && std::chrono::steady_clock::now() < patience)
      EXPECT_FALSE(request.cancelled());
    EXPECT_EQ(mOut.str(), "  one this server\n+ two discovered\n");
    return response;
  });
  EXPECT_EQ(run(), ExitCode::kDone);
}

TEST_F(Watching, PrintsADocumentOnEachLine) {
  stream(kHello);
  run(Format::kJson);
  const std::string text = mOut.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
  EXPECT_EQ(std::string(json::String(parsed(text)["change"])), "listed");
  EXPECT_EQ(std::string(json::String(parsed(text)["time"])).size(), 20u);
}

TEST_F(Watching, FetchesEverythingAnewWhenToldTo) {
  mStreams.push_back([this](const httpclient::Request& request) {
    streamed(request, kHello);
    mServers = std::string(kOne) + "," + kTwo;
    return streamed(request, "event: reset\ndata: {}\n\n");
  });
  run();
  EXPECT_EQ(mOut.str(), "  one this server\n+ two discovered\n");
}

TEST_F(Watching, ComesBackToAServerThatWasAway) {
  stream(kHello);
  answer(failed());
  answer(failed());
  mStreams.push_back([this](const httpclient::Request& request) {
    mServers = std::string(kOne) + "," + kTwo;
    return streamed(request, kHello);
  });
  EXPECT_EQ(run(), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "  one this server\n+ two discovered\n");
  EXPECT_THAT(mErr.str(), testing::StartsWith("kvtctl: the server ended the connection; trying again\n"
                                              "kvtctl: the server is there again\n"));
  EXPECT_THAT(mPauses, ElementsAre(1000, 2000, 4000, 1000));
}

TEST_F(Watching, FailsWithAServerThatIsNotThereInTheFirstPlace) {
  answer(failed());
  EXPECT_EQ(run(), ExitCode::kUnreachable);
  EXPECT_EQ(mErr.str(), "kvtctl: cannot reach http://server:8443: refused\n");
}

TEST_F(Watching, EndsWithALoginThatEnds) {
  stream(kHello);
  answer(plain(401, R"({"status": {"code": 401, "desc": "Log in first"}})"));
  EXPECT_EQ(run(), ExitCode::kNotAllowed);
  EXPECT_THAT(mErr.str(), HasSubstr("kvtctl: log in first: kvtctl login\n"));
}

TEST_F(Watching, AsksAServerThatHasNoEventsNowAndThen) {
  answer(plain(404, R"({"status": {"code": 404, "desc": "Not found"}})"));
  mMostPauses = 3;
  mIsOver = false;
  const auto respondThenEnd = [this] { mIsOver = mPauses.size() >= 3; };
  Options options;
  const RestClient client(
      [&](const httpclient::Request& request) {
        if (mPauses.size() == 1) mServers = std::string(kOne) + "," + kTwo;
        auto response = respond(request);
        respondThenEnd();
        return response;
      },
      FakeServer::kUrl, std::chrono::seconds(3));
  EXPECT_EQ(runWatchCommand(options, client, mOut, mErr,
                            [this](std::chrono::milliseconds wait) {
                              if (wait.count() > 0) mPauses.push_back(wait.count());
                              return mIsOver;
                            }),
            ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "  one this server\n+ two discovered\n");
  EXPECT_THAT(mPauses, testing::Each(2000));
}

TEST_F(Watching, StartsAgainAfterAnEventThatMakesNoSense) {
  stream(std::string(kHello) + "event: servers\ndata: [\n\n");
  stream(kHello);
  EXPECT_EQ(run(), ExitCode::kDone);
  EXPECT_THAT(mErr.str(), HasSubstr("an event that is no JSON object"));
  EXPECT_EQ(mOut.str(), "  one this server\n");
}

TEST_F(Watching, EndsWhenTheOutputTakesNoMore) {
  mStreams.push_back([this](const httpclient::Request& request) {
    mOut.setstate(std::ios::badbit);
    return streamed(request, kHello);
  });
  stream(kHello);
  EXPECT_EQ(run(), ExitCode::kDone);
  EXPECT_EQ(mStreams.size(), 1u);
}

}  // namespace
}  // namespace cli
