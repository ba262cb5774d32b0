#include <fstream>
#include <string>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakePrompt.h"
#include "TemporaryFolder.h"
#include "cli/ServerTrust.h"

namespace cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string kOne = "SHA256:" + std::string(64, '1');
const std::string kTwo = "SHA256:" + std::string(64, '2');

/// A server behind TLS, as the client sees it.
class Trust : public testing::Test {
 protected:
  httpclient::Response ask(TrustOptions options = {}, bool isTerminal = false) {
    const Prompt prompt = mPerson.prompt(isTerminal);
    const Exchange exchange = trustedExchange(
        [this](const httpclient::Request& request) { return shakeHands(request); }, std::move(options), mFiles, prompt);
    httpclient::Request request;
    request.url = mUrl;
    return exchange(request);
  }
  std::string known() const {
    const auto document = mFiles.read(kKnownServers);
    EXPECT_TRUE(document) << document.failure().message;
    std::string text;
    for (const json::Object::Member& member : *document)
      text += std::string(member.name) + "=" + json::String(member.element).Value() + ";";
    return text;
  }

  httpclient::Response shakeHands(const httpclient::Request& request) {
    httpclient::Response response;
    if (request.acceptCertificate) {
      if (const auto refusal = request.acceptCertificate({mAddress, mShown})) {
        response.error = httpclient::ErrorKind::kCertificate;
        response.errorText = *refusal;
        return response;
      }
    }
    ++mServed;
    response.status = 200;
    return response;
  }

  TemporaryFolder mFolder;
  UserFiles mFiles{mFolder.file("config")};
  FakePrompt mPerson;
  std::string mUrl = "https://Ten.Example:8443/1.0/servers";
  std::string mAddress = "10.0.0.1";
  std::string mShown = kOne;
  int mServed = 0;  ///< requests that were sent
};

TEST_F(Trust, AsksAPersonOnceForAnUnknownServer) {
  mPerson.answers = {"y"};
  EXPECT_TRUE(ask({}, true).ok());
  EXPECT_THAT(mPerson.questions, ElementsAre("The server's certificate is " + kOne + ". Trust it? [y/N] "));
  EXPECT_EQ(known(), "ten.example:8443=" + kOne + ";");
  EXPECT_TRUE(ask({}, true).ok());
  EXPECT_EQ(mPerson.questions.size(), 1u);
  EXPECT_EQ(mServed, 2);
}

TEST_F(Trust, TakesAnythingButYesForNo) {
  for (const char* answer : {"", "n", "yeah", "Yes please"}) {
    mPerson.answers = {answer};
    EXPECT_EQ(ask({}, true).errorText, "the server at ten.example:8443 is not trusted") << answer;
  }
  EXPECT_EQ(ask({}, true).errorText, "the server at ten.example:8443 is not trusted") << "end of input";
  EXPECT_EQ(known(), "");
  EXPECT_EQ(mServed, 0);
}

TEST_F(Trust, RefusesAnUnknownServerWhereNobodyCanBeAsked) {
  EXPECT_EQ(ask().errorText, "the server at ten.example:8443 is not known yet. Its certificate is " + kOne +
                                 "; when that is the one that its administrator tells: kvtctl trust " + kOne);
  EXPECT_EQ(mServed, 0);
}

TEST_F(Trust, KeepsTheFirstCertificateOfThisMachineWithoutAQuestion) {
  for (const char* address : {"127.0.0.1", "::1"}) {
    mAddress = address;
    mUrl = std::string("https://localhost:") + (mAddress == "::1" ? "1" : "2");
    EXPECT_TRUE(ask().ok()) << address;
  }
  EXPECT_EQ(known(), "localhost:2=" + kOne + ";localhost:1=" + kOne + ";");
}

TEST_F(Trust, RefusesAChangedCertificateWhoeverIsThere) {
  mAddress = "127.0.0.1";
  ask();
  mShown = kTwo;
  for (const bool isTerminal : {false, true}) {
    mPerson.answers = {"y"};
    const auto response = ask({}, isTerminal);
    EXPECT_EQ(response.error, httpclient::ErrorKind::kCertificate);
    EXPECT_EQ(response.errorText, "the certificate of ten.example:8443 has changed: it was " + kOne + " and is " +
                                      kTwo +
                                      ". Somebody may stand in between. When the server has a new one that you know "
                                      "of: kvtctl trust");
  }
  EXPECT_EQ(mPerson.questions.size(), 0u);
  EXPECT_EQ(mServed, 1);
}

TEST_F(Trust, ReplacesAChangedCertificateWhenAskedTo) {
  mAddress = "127.0.0.1";
  ask();
  mShown = kTwo;
  EXPECT_EQ(ask({{}, "", true}).errorText, "say which certificate: kvtctl trust " + kTwo);
  mPerson.answers = {"yes"};
  EXPECT_TRUE(ask({{}, "", true}, true).ok());
  EXPECT_THAT(mPerson.questions,
              ElementsAre("It was " + kOne + ". The server's certificate is " + kTwo + ". Trust it? [y/N] "));
  EXPECT_EQ(known(), "ten.example:8443=" + kTwo + ";");
}

TEST_F(Trust, TakesTheFingerprintOfTheCommandLine) {
  EXPECT_TRUE(ask({kOne, "", false}).ok());
  EXPECT_EQ(known(), "ten.example:8443=" + kOne + ";");
  mShown = kTwo;
  EXPECT_EQ(ask({kOne, "", false}).errorText,
            "the server at ten.example:8443 shows the certificate " + kTwo + ", and not " + kOne);
  EXPECT_TRUE(ask({kTwo, "", false}).ok());
  EXPECT_EQ(known(), "ten.example:8443=" + kTwo + ";");
}

TEST_F(Trust, LeavesTheDecisionToAuthorities) {
  httpclient::Request seen;
  httpclient::Request request;
  request.url = mUrl;
  const Prompt prompt = mPerson.prompt(true);
  trustedExchange(
      [&seen](const httpclient::Request& sent) {
        seen = sent;
        return httpclient::Response();
      },
      {{}, "PEM", false}, mFiles, prompt)(request);
  EXPECT_EQ(seen.authorities, "PEM");
  EXPECT_FALSE(seen.acceptCertificate);
  EXPECT_EQ(known(), "");
}

TEST_F(Trust, IsNoMatterOfServersWithoutTls) {
  mUrl = "http://10.0.0.1:8443/1.0/servers";
  EXPECT_TRUE(ask().ok());
  EXPECT_EQ(known(), "");
}

TEST_F(Trust, FailsWithADamagedFile) {
  mAddress = "127.0.0.1";
  ask();
  std::ofstream(mFiles.pathOf(kKnownServers)) << "{";
  const auto response = ask();
  EXPECT_EQ(response.error, httpclient::ErrorKind::kCertificate);
  EXPECT_THAT(response.errorText, HasSubstr(mFiles.pathOf(kKnownServers) + " is damaged, mend it or remove it: "));
  EXPECT_EQ(mServed, 1);
}

TEST_F(Trust, IsKeptForItsUserAlone) {
  mAddress = "127.0.0.1";
  ask();
  struct stat file {};
  ASSERT_EQ(stat(mFiles.pathOf(kKnownServers).c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777u, 0600u);
}

TEST(TlsHost, IsReadFromUrls) {
  EXPECT_EQ(tlsHostOf("https://10.0.0.1:8443/prefix"), "10.0.0.1:8443");
  EXPECT_EQ(tlsHostOf("https://One"), "one:443");
  EXPECT_EQ(tlsHostOf("https://[fe80::1]:8443"), "[fe80::1]:8443");
  EXPECT_EQ(tlsHostOf("https://[fe80::1]/"), "[fe80::1]:443");
  EXPECT_EQ(tlsHostOf("https://user@one:1?x"), "one:1");
  EXPECT_EQ(tlsHostOf("http://one"), "");
}

TEST(Loopback, IsTheMachineItself) {
  for (const char* address : {"127.0.0.1", "127.1.2.3", "::1"})
    EXPECT_TRUE(isLoopback(address)) << address;
  for (const char* address : {"128.0.0.1", "10.0.0.1", "::2", "fe80::1%eth0", "localhost", ""})
    EXPECT_FALSE(isLoopback(address)) << address;
}

}  // namespace
}  // namespace cli
