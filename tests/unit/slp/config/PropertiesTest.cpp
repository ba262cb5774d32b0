#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "slp/config/Properties.h"

namespace slp::config {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text) {
    const int fd = ::mkstemp(mPath);
    if (fd >= 0) ::close(fd);
    std::ofstream(mPath, std::ios::binary) << text;
  }
  ~TemporaryFile() { ::unlink(mPath); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  std::string path() const { return mPath; }

 private:
  char mPath[32] = "/tmp/slp_properties_XXXXXX";
};

TEST(Properties, HaveTheirDefaultsAtFirst) {
  const Properties properties;
  for (const auto& row : propertyTable())
    EXPECT_EQ(properties.get(row.name), row.defaultValue) << row.name;
  EXPECT_EQ(properties.get("net.slp.unknown"), std::nullopt);
  EXPECT_EQ(properties.settings(), Settings());
}

TEST(Properties, AreSet) {
  Properties properties;
  EXPECT_TRUE(properties.set("net.slp.MTU", " 1300 "));
  EXPECT_EQ(properties.get("net.slp.MTU"), "1300");
  EXPECT_EQ(properties.settings().mtu, 1300u);
}

TEST(Properties, StayAsTheyWereWhenAValueIsBad) {
  Properties properties;
  ASSERT_TRUE(properties.set("net.slp.MTU", "1300"));
  std::string reason;
  EXPECT_FALSE(properties.set("net.slp.MTU", "huge", &reason));
  EXPECT_EQ(reason, "not a number from 576 to 65535");
  EXPECT_EQ(properties.get("net.slp.MTU"), "1300");
  EXPECT_EQ(properties.settings().mtu, 1300u);
  EXPECT_TRUE(properties.set("net.slp.MTU", "1200", &reason));
  EXPECT_EQ(reason, "");
}

TEST(Properties, ThatAreReadOnlyAreNotSet) {
  Properties properties;
  std::string reason;
  EXPECT_FALSE(properties.set("net.slp.useScopes", "other", &reason));
  EXPECT_EQ(reason, "only the configuration file sets it");
  EXPECT_EQ(properties.get("net.slp.useScopes"), "DEFAULT");
}

TEST(Properties, ThatAreNotKnownAreKeptAsText) {
  Properties properties;
  EXPECT_TRUE(properties.set("my.own", "a,b"));
  EXPECT_EQ(properties.get("my.own"), "a,b");
  EXPECT_EQ(properties.settings(), Settings());
  EXPECT_FALSE(properties.set("", "a"));
}

TEST(Properties, WithoutEffectAreKeptAsText) {
  Properties properties;
  EXPECT_TRUE(properties.set("net.slp.traceMsg", "true"));
  EXPECT_EQ(properties.get("net.slp.traceMsg"), "true");
  EXPECT_EQ(properties.settings(), Settings());
}

TEST(Properties, ComeFromAFile) {
  const TemporaryFile file(
      "# here we are\r\nnet.slp.useScopes = lab , office\nnet.slp.DAAddresses=da1,10.0.0.9\n"
      "net.slp.isBroadcastOnly=true\nnet.slp.maxResults=5\n; the end");
  Properties properties;
  EXPECT_THAT(properties.readFile(file.path()), IsEmpty());
  const auto settings = properties.settings();
  EXPECT_EQ(settings.scopes, "lab,office");
  EXPECT_THAT(settings.directoryAgents, ElementsAre("da1", "10.0.0.9"));
  EXPECT_TRUE(settings.broadcastOnly);
  EXPECT_EQ(settings.maxResults, 5);
  EXPECT_TRUE(properties.set("net.slp.maxResults", "7"));
  EXPECT_EQ(properties.settings().maxResults, 7);
}

TEST(Properties, OfAFileAreTakenBesideWhatCannotBeUsed) {
  const TemporaryFile file("net.slp.MTU=1300\nnet.slp.MTU=9\nwhat is this\nnet.slp.mtu=9\nnet.slp.port=4427\n");
  Properties properties;
  EXPECT_THAT(properties.readFile(file.path()),
              ElementsAre(file.path() + ":2: net.slp.MTU: not a number from 576 to 65535",
                          file.path() + ":3: not of the form name = value",
                          file.path() + ":4: net.slp.mtu is not known and has no effect"));
  EXPECT_EQ(properties.settings().mtu, 1300u);
  EXPECT_EQ(properties.settings().port, 4427);
}

TEST(Properties, SayThatAFileIsNotThere) {
  Properties properties;
  EXPECT_THAT(properties.readFile("/nonexistent/slp.conf"),
              ElementsAre(StartsWith("/nonexistent/slp.conf: No such file")));
  EXPECT_EQ(properties.settings(), Settings());
}

TEST(Properties, AreSetAndReadByManyThreads) {
  Properties properties;
  std::atomic<bool> wrong = false;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 500; ++i) {
        properties.set("net.slp.interfaces", thread % 2 == 0 ? "a,b" : "c");
        const auto count = properties.settings().interfaces.size();
        const auto text = properties.get("net.slp.interfaces");
        if ((count != 1 && count != 2) || (text != "a,b" && text != "c")) wrong = true;
      }
    });
  for (auto& thread : threads)
    thread.join();
  EXPECT_FALSE(wrong);
}

}  // namespace
}  // namespace slp::config
