#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support.h"
#include "slp/config/Log.h"
#include "slp/net/Traffic.h"

namespace slp::api {
namespace {

TEST(Property, HasItsDefault) {
  EXPECT_STREQ(SLPGetProperty("net.slp.multicastTTL"), "255");
}

TEST(Property, IsSetForTheWholeProcess) {
  const PropertyGuard guard("net.slp.multicastTTL", "7");
  EXPECT_STREQ(SLPGetProperty("net.slp.multicastTTL"), "7");
}

TEST(Property, StaysReadableWhenItIsSetAnew) {
  const PropertyGuard guard("net.slp.locale", "de");
  const char* const before = SLPGetProperty("net.slp.locale");
  SLPSetProperty("net.slp.locale", "fr");
  EXPECT_STREQ(before, "de");
  EXPECT_STREQ(SLPGetProperty("net.slp.locale"), "fr");
}

TEST(Property, IsNullWhenNobodyKnowsIt) {
  EXPECT_EQ(SLPGetProperty("net.slp.unheardOf"), nullptr);
  EXPECT_EQ(SLPGetProperty(""), nullptr);
  EXPECT_EQ(SLPGetProperty(nullptr), nullptr);
  EXPECT_EQ(SLPGetProperty(std::string(65'536, 'x').c_str()), nullptr);
}

struct LogRecord {
  int level;
  std::string text;
};

void recordLog(int level, const char* text, void* cookie) {
  static_cast<std::vector<LogRecord>*>(cookie)->push_back({level, text});
}

TEST(Property, KeepsItsValueWhenTheNewOneIsBad) {
  std::vector<LogRecord> log;
  SLPSetLog(recordLog, &log);
  SLPSetProperty("net.slp.multicastTTL", "never");
  SLPSetProperty("net.slp.useScopes", "elsewhere");
  SLPSetProperty("net.slp.multicastTTL", nullptr);
  SLPSetProperty(nullptr, "1");
  SLPSetLog(nullptr, nullptr);
  EXPECT_STREQ(SLPGetProperty("net.slp.multicastTTL"), "255");
  EXPECT_STREQ(SLPGetProperty("net.slp.useScopes"), "DEFAULT");
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].level, 4);
  EXPECT_THAT(log[0].text, testing::HasSubstr("net.slp.multicastTTL"));
  EXPECT_THAT(log[1].text, testing::HasSubstr("net.slp.useScopes"));
}

TEST(Log, GoesToTheCallbackWithTheLevelsOfSyslog) {
  std::vector<LogRecord> log;
  SLPSetLog(recordLog, &log);
  config::log(config::LogLevel::kWarning, "w");
  config::log(config::LogLevel::kInfo, "i");
  config::log(config::LogLevel::kDebug, "d");
  SLPSetLog(nullptr, nullptr);
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(log[0].level, 4);
  EXPECT_EQ(log[1].level, 6);
  EXPECT_EQ(log[2].level, 7);
  EXPECT_EQ(log[2].text, "d");
}

void countSent(SLPMessageFate fate, const char* kind, void* cookie) {
  if (fate == SLP_MESSAGE_SENT) static_cast<std::vector<std::string>*>(cookie)->emplace_back(kind);
}

TEST(Counter, IsToldOfMessagesUntilItIsTakenBack) {
  std::vector<std::string> sent;
  SLPSetCounter(countSent, &sent);
  net::countMessage(net::Fate::kSent, std::string_view("\x02\x01"));
  net::countMessage(net::Fate::kReceived, std::string_view("\x02\x02"));
  SLPSetCounter(nullptr, nullptr);
  net::countMessage(net::Fate::kSent, std::string_view("\x02\x01"));
  EXPECT_EQ(sent, std::vector<std::string>{"SrvRqst"});
}

TEST(FindScopes, GivesTheConfiguredOnes) {
  const OpenHandle handle;
  char* scopes = nullptr;
  ASSERT_EQ(SLPFindScopes(handle, &scopes), SLP_OK);
  EXPECT_STREQ(scopes, "DEFAULT");
  SLPFree(scopes);
}

TEST(GetRefreshInterval, IsZeroWithoutDirectoryAgents) {
  EXPECT_EQ(SLPGetRefreshInterval(), 0);
}

}  // namespace
}  // namespace slp::api
