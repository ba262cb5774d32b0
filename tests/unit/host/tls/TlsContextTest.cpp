#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include <boost/asio/ssl/context.hpp>
#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include "host/tls/Pem.h"
#include "host/tls/SelfSigned.h"
#include "host/tls/TlsContext.h"
#include "state/Directory.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"

namespace {

using host::TlsContext;
using host::TlsSettings;
using std::chrono::hours;
using std::chrono::system_clock;

constexpr hours kDay{24};

class TlsContextTest : public testing::Test {
 protected:
  TlsContextTest() { mSystem.setAddresses({"192.0.2.7"}, {"2001:db8::7"}); }
  ~TlsContextTest() override { std::filesystem::remove_all(mDirectory.path()); }

  static std::string newPath() {
    std::string path = testing::TempDir() + "/kvt-tls-XXXXXX";
    return mkdtemp(path.data()) != nullptr ? path : "";
  }
  std::string file(const std::string& name, const std::string& text) const {
    std::ofstream(mDirectory.pathOf(name)) << text;
    chmod(mDirectory.pathOf(name).c_str(), 0600);
    return mDirectory.pathOf(name);
  }
  /// One file with a key and a certificate that began then.
  std::string pem(const std::string& name, system_clock::time_point begun = system_clock::now()) const {
    return file(name, host::tls::makeSelfSigned({"server.example", {"server.example"}, {}}, begun));
  }
  std::string problemWith(const TlsSettings& settings) const {
    const auto context = TlsContext::open(settings, mDirectory);
    return context ? "" : context.error();
  }
  static TlsSettings using_(const std::string& certificate, const std::string& key) {
    TlsSettings settings;
    settings.certificateFile = certificate;
    settings.keyFile = key;
    return settings;
  }

  support::FakeSystem mSystem;
  support::LogCapture mLog;
  const state::Directory mDirectory{newPath()};
};

TEST_F(TlsContextTest, MakesACertificateOnceAndKeepsIt) {
  const auto first = TlsContext::open({}, mDirectory);
  ASSERT_TRUE(first) << first.error();
  const auto second = TlsContext::open({}, mDirectory);
  ASSERT_TRUE(second) << second.error();
  EXPECT_EQ((*first)->info(), (*second)->info());
  EXPECT_TRUE((*first)->info().fingerprint.starts_with("SHA256:"));
  struct stat made {};
  ASSERT_EQ(stat(mDirectory.pathOf(TlsContext::kFileName).c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777, 0600U);
}

TEST_F(TlsContextTest, DescribesItsCertificate) {
  const auto context = TlsContext::open({}, mDirectory);
  ASSERT_TRUE(context);
  const auto info = (*context)->info();
  EXPECT_TRUE(info.isSelfSigned);
  EXPECT_TRUE(info.subject.starts_with("CN=")) << info.subject;
  EXPECT_EQ(info.subject, info.issuer);
  EXPECT_LT(info.notBefore, system_clock::now());
  EXPECT_GT(info.notAfter, system_clock::now() + 3600 * kDay);
  EXPECT_LT(info.notAfter, system_clock::now() + 3700 * kDay);
}

TEST_F(TlsContextTest, TheCertificateIsForTheNamesAndAddressesOfTheMachine) {
  const auto text = host::tls::makeSelfSigned(host::tls::thisMachine(), system_clock::now());
  const auto identity = host::tls::readIdentity(text, "c", text, "k");
  ASSERT_TRUE(identity);
  X509* certificate = identity->certificate.get();
  EXPECT_EQ(X509_check_host(certificate, "localhost", 0, 0, nullptr), 1);
  for (const char* address : {"127.0.0.1", "::1", "192.0.2.7", "2001:db8::7"}) {
    EXPECT_EQ(X509_check_ip_asc(certificate, address, 0), 1) << address;
  }
  EXPECT_EQ(X509_check_ip_asc(certificate, "192.0.2.8", 0), 0);
  EXPECT_EQ(X509_check_ca(certificate), 0);
  EXPECT_EQ(X509_check_purpose(certificate, X509_PURPOSE_SSL_SERVER, 0), 1);
  EXPECT_EQ(X509_check_purpose(certificate, X509_PURPOSE_SSL_CLIENT, 0), 0);
}

TEST_F(TlsContextTest, LeavesOutNamesThatAreNone) {
  const auto text =
      host::tls::makeSelfSigned({"a", {"x,DNS:evil", "good"}, {"1.2.3.4,IP:5.6.7.8"}}, system_clock::now());
  const auto identity = host::tls::readIdentity(text, "c", text, "k");
  ASSERT_TRUE(identity);
  EXPECT_EQ(X509_check_host(identity->certificate.get(), "good", 0, 0, nullptr), 1);
  EXPECT_EQ(X509_check_host(identity->certificate.get(), "evil", 0, 0, nullptr), 0);
  EXPECT_EQ(X509_check_ip_asc(identity->certificate.get(), "5.6.7.8", 0), 0);
}

TEST_F(TlsContextTest, TakesTheFilesOfTheAdministrator) {
  const auto context = TlsContext::open(using_(pem("own.pem"), mDirectory.pathOf("own.pem")), mDirectory);
  ASSERT_TRUE(context) << context.error();
  EXPECT_EQ((*context)->info().subject, "CN=server.example");
  EXPECT_FALSE(std::filesystem::exists(mDirectory.pathOf(TlsContext::kFileName)));
}

TEST_F(TlsContextTest, SaysWhatIsWrongWithTheFiles) {
  const auto one = pem("one.pem");
  const auto other = pem("other.pem");
  const auto none = file("none.pem", "nothing");
  EXPECT_NE(problemWith(using_(one, "")).find("tls.certificate and tls.key go together"), std::string::npos);
  EXPECT_EQ(problemWith(using_(one, other)), other + ": the key does not belong to the certificate in " + one);
  EXPECT_EQ(problemWith(using_(none, one)), none + ": there is no certificate in it (PEM)");
  EXPECT_EQ(problemWith(using_(one, none)), none + ": there is no private key in it (PEM)");
  EXPECT_EQ(problemWith(using_("/no/such", one)), "/no/such: cannot be read: No such file or directory");
  EXPECT_EQ(problemWith(using_(mDirectory.path(), one)), mDirectory.path() + ": is no file");
  file(TlsContext::kFileName, "broken");
  EXPECT_NE(problemWith({}).find("remove it to have a new certificate made"), std::string::npos);
}

TEST_F(TlsContextTest, WarnsOfAnEndThatIsNear) {
  for (const auto& [name, begun] :
       {std::pair("soon", system_clock::now() - 3640 * kDay), std::pair("over", system_clock::now() - 4000 * kDay),
        std::pair("early", system_clock::now() + 10 * kDay)}) {
    mLog.clear();
    EXPECT_EQ(problemWith(using_(pem(name, begun), mDirectory.pathOf(name))), "") << "it is served all the same";
    EXPECT_TRUE(mLog.containsPart("TLS: the certificate ")) << name;
  }
  mLog.clear();
  EXPECT_EQ(problemWith({}), "");
  EXPECT_FALSE(mLog.containsPart("TLS:"));
}

TEST_F(TlsContextTest, RemindsOncePerDay) {
  const auto context = TlsContext::open({}, mDirectory);
  ASSERT_TRUE(context);
  const auto last = (*context)->info().notAfter - 20 * kDay;
  mLog.clear();
  (*context)->watchTheEnd(last);
  EXPECT_EQ(mLog.records().size(), 1U);
  (*context)->watchTheEnd(last + hours(23));
  EXPECT_EQ(mLog.records().size(), 1U);
  (*context)->watchTheEnd(last + hours(25));
  EXPECT_EQ(mLog.records().size(), 2U);
}

TEST_F(TlsContextTest, WarnsOfAKeyThatOthersMayRead) {
  const auto path = pem("open.pem");
  chmod(path.c_str(), 0644);
  EXPECT_EQ(problemWith(using_(path, path)), "");
  EXPECT_TRUE(mLog.containsPart("everybody on this machine may read the key"));
}

TEST_F(TlsContextTest, KeepsWhatItHasWhenNewFilesAreWrong) {
  const auto path = pem("own.pem");
  const auto opened = TlsContext::open(using_(path, path), mDirectory);
  ASSERT_TRUE(opened);
  TlsContext& context = **opened;
  const auto before = context.info();
  const auto contextBefore = context.current();
  file("own.pem", "nothing");
  EXPECT_EQ(context.reload(using_(path, path)), path + ": there is no certificate in it (PEM)");
  EXPECT_EQ(context.info(), before);
  EXPECT_EQ(context.current(), contextBefore);
  pem("own.pem");
  EXPECT_EQ(context.reload(using_(path, path)), std::nullopt);
  EXPECT_NE(context.info().fingerprint, before.fingerprint);
  EXPECT_NE(context.current(), contextBefore);
}

}  // namespace
