#include <filesystem>
#include <fstream>
#include <net/if.h>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "cli/DoctorNetwork.h"
#include "support/OwnNetwork.h"

namespace cli::doctor {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kTitle =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode ref\n";

std::string line(const std::string& local, const std::string& state, const std::string& inode) {
  return "   7: " + local + " 00000000:0000 " + state + " 00000000:00000000 00:00000000 00000000     0        0 " +
         inode + " 2 0000000000000000 0\n";
}

TEST(SocketsAt, FindsTheSocketsOfAPort) {
  const std::string table = kTitle + line("00000000:01AB", "07", "11") + line("0100007F:01AC", "07", "12") +
                            line("00000000000000000000000000000000:01AB", "07", "13");
  EXPECT_THAT(socketsAt(table, 427, false), ElementsAre("11", "13"));
  EXPECT_THAT(socketsAt(table, 428, false), ElementsAre("12"));
  EXPECT_THAT(socketsAt(table, 1, false), IsEmpty());
}

TEST(SocketsAt, TakesOfTcpThoseThatListen) {
  const std::string table = kTitle + line("00000000:01AB", "01", "11") + line("00000000:01AB", "0A", "12");
  EXPECT_THAT(socketsAt(table, 427, true), ElementsAre("12"));
}

TEST(SocketsAt, PassesOverWhatIsNoSocket) {
  for (const char* table :
       {"", "\n\n", "1: 2", "   7: 0000000001AB 0 07 0 0 0 0 0 11\n", "   7: 0:01ABX 0 07 0 0 0 0 0 11\n"})
    EXPECT_THAT(socketsAt(table, 427, false), IsEmpty()) << table;
}

TEST(PortFactsOf, NameTheProgramThatHoldsAPort) {
  const TemporaryFolder proc;
  std::filesystem::create_directories(proc.file("self/net"));
  std::filesystem::create_directories(proc.file("42/fd"));
  std::filesystem::create_directories(proc.file("43"));
  std::filesystem::create_directories(proc.file("bus"));
  std::ofstream(proc.file("42/comm")) << "kvt-server\n";
  std::filesystem::create_symlink("socket:[11]", proc.file("42/fd/3"));
  std::ofstream(proc.file("self/net/udp"))
      << kTitle << line("00000000:01AB", "07", "11") << line("00000000:0737", "07", "99");
  const auto ports = portFacts(proc.file(""));
  ASSERT_EQ(ports.size(), 3u);
  EXPECT_TRUE(ports[0].isHeld);
  EXPECT_EQ(ports[0].holder, "kvt-server");
  EXPECT_EQ(ports[1].protocol, "TCP");
  EXPECT_FALSE(ports[1].isHeld);
  EXPECT_EQ(ports[2].number, 1847);
  EXPECT_TRUE(ports[2].isHeld);
  EXPECT_EQ(ports[2].holder, "");
}

TEST(EchoOn, HearsWhatItSends) {
  if (!support::hasOwnNetwork()) GTEST_SKIP() << "no network of its own";
  const InterfaceFacts facts = echoOn({"lo", "127.0.0.1", if_nametoindex("lo"), true}, std::chrono::seconds(20));
  EXPECT_EQ(facts.echo, InterfaceFacts::Echo::kHeard) << facts.refusal;
}

TEST(EchoOn, SaysWhyItCannot) {
  const InterfaceFacts facts = echoOn({"none", "10.0.0.1", 99'999, true}, std::chrono::milliseconds(1));
  EXPECT_EQ(facts.echo, InterfaceFacts::Echo::kRefused);
  EXPECT_EQ(facts.refusal, "No such device");
}

TEST(GroupRoute, IsMissingWhereNoRouteIs) {
  if (!support::hasOwnNetwork()) GTEST_SKIP() << "no network of its own";
  EXPECT_FALSE(hasGroupRoute());
}

}  // namespace
}  // namespace cli::doctor
