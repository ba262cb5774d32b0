#include <string>

#include <gtest/gtest.h>

#include "httpclient/Certificate.h"
#include "unit/host/peers/TestCertificates.h"

namespace {

using host_test::makeIdentity;
using httpclient::holdsCertificates;
using httpclient::readFingerprint;

const std::string kDigits = "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff";

TEST(Fingerprint, IsOfTheWholeCertificate) {
  const auto one = makeIdentity();
  const auto other = makeIdentity();
  EXPECT_EQ(one.fingerprint().size(), 7U + 64U);
  EXPECT_TRUE(one.fingerprint().starts_with("SHA256:"));
  EXPECT_EQ(one.fingerprint().find_first_not_of("0123456789abcdef", 7), std::string::npos);
  EXPECT_EQ(one.fingerprint(), one.fingerprint());
  EXPECT_NE(one.fingerprint(), other.fingerprint());
}

TEST(Fingerprint, IsReadAsPeopleWriteIt) {
  const std::string expected = "SHA256:" + kDigits;
  std::string upper;
  std::string pairs;
  for (std::size_t i = 0; i < kDigits.size(); ++i) {
    upper += static_cast<char>(std::toupper(static_cast<unsigned char>(kDigits[i])));
    pairs += (i > 0 && i % 2 == 0 ? ":" : "") + upper.substr(i);
  }
  for (const std::string& text :
       {kDigits, expected, upper, "SHA256:" + upper, "sha256:" + kDigits, pairs, "SHA256:" + pairs}) {
    EXPECT_EQ(readFingerprint(text), expected) << text;
  }
}

TEST(Fingerprint, IsNothingElse) {
  for (const std::string& text :
       {std::string(), std::string("SHA256:"), "SHA1:" + kDigits, kDigits + "0", kDigits.substr(1),
        kDigits.substr(1) + "g", "SHA256:SHA256:" + kDigits, " " + kDigits, std::string(95, ':'), std::string(95, 'a'),
        std::string(64, ':'), std::string(100'000, 'a')}) {
    EXPECT_EQ(readFingerprint(text), std::nullopt) << text.substr(0, 100);
  }
}

TEST(Authorities, AreCertificatesInPem) {
  const auto identity = makeIdentity({.isAuthority = true});
  EXPECT_TRUE(holdsCertificates(identity.pem()));
  EXPECT_TRUE(holdsCertificates("some words before\n" + identity.pem()));
  EXPECT_FALSE(holdsCertificates(""));
  EXPECT_FALSE(holdsCertificates("nonsense"));
  EXPECT_FALSE(holdsCertificates("-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n"));
  EXPECT_FALSE(holdsCertificates(identity.pem().substr(0, 200)));
}

}  // namespace
