#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/Commands.h"

namespace cli {
namespace {

class RunCommand : public testing::Test {
 protected:
  ExitCode run(Command command, const std::string& argument = "", Format format = Format::kTable) {
    Options options;
    options.command = command;
    options.argument = argument;
    options.format = format;
    return runCommand(options, mServer.api(), mOut, mErr);
  }

  FakeServer mServer;
  std::ostringstream mOut;
  std::ostringstream mErr;
};

constexpr const char* kRecord = R"({"value": {"properties": {"displayId": "two"}}})";
constexpr const char* kDone = R"({"status": [{"code": 0, "desc": "Success"}]})";

TEST_F(RunCommand, PrintsTheListAsATable) {
  mServer.answer("GET /1.0/servers", 200, R"({"values": [{"properties": {"displayId": "two"}}]})");
  EXPECT_EQ(run(Command::kList), ExitCode::kDone);
  EXPECT_EQ(mOut.str(),
            "ID   ADDRESSES  BUILD  HEALTH  HOW\n"
            "two  -          -      -       discovered\n");
  EXPECT_EQ(mErr.str(), "");
}

TEST_F(RunCommand, PrintsTheListAsJson) {
  mServer.answer("GET /1.0/servers", 200, R"({"values": [{"properties": {"displayId": "two"}}]})");
  EXPECT_EQ(run(Command::kList, "", Format::kJson), ExitCode::kDone);
  json::Array records;
  json::Reader::Read(records, mOut.str());
  EXPECT_EQ(records.Size(), 1u);
}

TEST_F(RunCommand, PrintsWhatASearchFound) {
  mServer.answer("POST", 200, kDone);
  mServer.answer("GET /1.0/searchedserver/10.0.0.2", 200, kRecord);
  EXPECT_EQ(run(Command::kSearch, "10.0.0.2"), ExitCode::kDone);
  EXPECT_NE(mOut.str().find("two"), std::string::npos);
}

TEST_F(RunCommand, PrintsDetailsInBothForms) {
  mServer.answer("GET /1.0/servers/self", 200, kRecord);
  EXPECT_EQ(run(Command::kDetails, "self"), ExitCode::kDone);
  EXPECT_EQ(mOut.str().rfind("ID", 0), 0u);
  mOut.str("");
  EXPECT_EQ(run(Command::kDetails, "self", Format::kJson), ExitCode::kDone);
  EXPECT_EQ(parsed(mOut.str()), parsed(R"({"properties": {"displayId": "two"}})"));
}

TEST_F(RunCommand, ConfirmsWhatItChanged) {
  mServer.answer("POST", 200, kDone);
  EXPECT_EQ(run(Command::kAdd, "two"), ExitCode::kDone);
  EXPECT_EQ(run(Command::kRemove, "two"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "two: added\ntwo: removed\n");
}

TEST_F(RunCommand, AnswersAChangeInJsonWithTheServersWords) {
  mServer.answer("POST", 200, kDone);
  EXPECT_EQ(run(Command::kRemove, "two", Format::kJson), ExitCode::kDone);
  EXPECT_EQ(parsed(mOut.str()), parsed(kDone));
}

TEST_F(RunCommand, SaysOnOneLineWhyItFailed) {
  mServer.answer("GET /1.0/servers", 400, R"({"status": {"code": 400, "desc": "broken\u001b[2J\nkvtctl: fine"}})");
  EXPECT_EQ(run(Command::kList), ExitCode::kRefused);
  EXPECT_EQ(mOut.str(), "");
  EXPECT_EQ(mErr.str(), "kvtctl: broken\\u001b[2J\\u000akvtctl: fine\n");
}

TEST_F(RunCommand, TellsAnUnreachableServerFromARefusal) {
  mServer.failWith(httpclient::ErrorKind::kUnreachable, "Connection refused");
  EXPECT_EQ(run(Command::kList), ExitCode::kUnreachable);
  EXPECT_EQ(mErr.str(), "kvtctl: cannot reach http://server:8443: Connection refused\n");
}

}  // namespace
}  // namespace cli
