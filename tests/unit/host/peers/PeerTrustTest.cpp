#include <atomic>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "host/peers/PeerTrust.h"
#include "support/LogCapture.h"
#include "support/Wait.h"
#include "unit/host/TemporaryDirectory.h"

namespace {

using host::PeerTrust;
using Outcome = PeerTrust::Outcome;
using state::PinnedAddress;
using state::Pins;
using std::chrono::milliseconds;

const std::string kOne = "SHA256:" + std::string(64, '1');
const std::string kTwo = "SHA256:" + std::string(64, '2');
const std::string kThree = "SHA256:" + std::string(64, '3');
const PinnedAddress kPeer{"192.0.2.7", 8443};
const std::string kChanged = "The certificate of 192.0.2.7:8443 has changed (now " + kTwo + ", was " + kOne +
                             "): kvtctl peers trust 192.0.2.7:8443 accepts it";

class PeerTrustTest : public testing::Test {
 protected:
  Pins::Table onDisk() const { return Pins::load(mDirectory).table(); }

  support::LogCapture mLog;
  host_test::TemporaryDirectory mPlace;
  const state::Directory mDirectory{mPlace.path()};
};

TEST_F(PeerTrustTest, AcceptsAnyCertificateAtTheFirstContactAndPinsWhatWasConfirmed) {
  PeerTrust trust(mDirectory);
  EXPECT_EQ(trust.refusesCertificate(kPeer, kOne), std::nullopt);
  EXPECT_TRUE(trust.table().empty()) << "what has only shaken hands is not worth a pin";
  EXPECT_EQ(trust.confirm(kPeer, kOne), std::nullopt);
  const auto table = trust.table();
  ASSERT_EQ(table.size(), 1U);
  const auto& pin = table.at(kPeer);
  EXPECT_EQ(pin.fingerprint, kOne);
  EXPECT_EQ(pin.since.size(), std::string("2026-01-01T00:00:00Z").size());
  EXPECT_EQ(pin.lastSeen, pin.since);
  EXPECT_EQ(pin.offered, "");
}

TEST_F(PeerTrustTest, AcceptsThePinnedCertificateFromThenOn) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  EXPECT_EQ(trust.refusesCertificate(kPeer, kOne), std::nullopt);
  EXPECT_EQ(trust.confirm(kPeer, kOne), std::nullopt);
}

TEST_F(PeerTrustTest, SaysWhenAnAddressIsSeenAtAnotherPortAndHasABoundOnPorts) {
  PeerTrust trust(mDirectory);
  EXPECT_EQ(trust.confirm(kPeer, kOne), std::nullopt);
  EXPECT_FALSE(mLog.containsPart("first contact"));
  for (std::uint16_t port = 9001; port < 9008; ++port)
    EXPECT_EQ(trust.confirm({kPeer.host, port}, kTwo), std::nullopt);
  EXPECT_TRUE(
      mLog.has(utils::LOG_FAILURE,
               "PeerTrust:confirm:first contact at 192.0.2.7:9001, an address that has 1 pinned already:" + kTwo));
  const auto refused = trust.confirm({kPeer.host, 9008}, kTwo);
  ASSERT_TRUE(refused);
  EXPECT_NE(refused->find("8 pinned certificates at 192.0.2.7"), std::string::npos) << *refused;
  EXPECT_EQ(trust.table().size(), 8U);
  EXPECT_EQ(trust.confirm({"192.0.2.8", 9008}, kTwo), std::nullopt);
  EXPECT_EQ(trust.confirm(kPeer, kOne), std::nullopt) << "those that are pinned go on";
}

TEST_F(PeerTrustTest, RefusesAChangedCertificateAndKeepsItAsOffered) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  EXPECT_EQ(trust.refusesCertificate(kPeer, kTwo), kChanged);
  EXPECT_EQ(trust.refusesCertificate(kPeer, kTwo), kChanged);
  const auto pin = trust.table().at(kPeer);
  EXPECT_EQ(pin.fingerprint, kOne);
  EXPECT_EQ(pin.offered, kTwo);
  EXPECT_NE(pin.offeredSince, "");
  EXPECT_EQ(mLog.count("PeerTrust:refusesCertificate:" + kChanged), 1U) << "once for each certificate";
}

TEST_F(PeerTrustTest, RefusesInTheEndWhatCameSecondInARaceOfFirstContacts) {
  PeerTrust trust(mDirectory);
  EXPECT_EQ(trust.refusesCertificate(kPeer, kOne), std::nullopt);
  EXPECT_EQ(trust.refusesCertificate(kPeer, kTwo), std::nullopt);
  EXPECT_EQ(trust.confirm(kPeer, kOne), std::nullopt);
  EXPECT_EQ(trust.confirm(kPeer, kTwo), kChanged);
  EXPECT_EQ(trust.table().at(kPeer).fingerprint, kOne);
}

TEST_F(PeerTrustTest, TellsPortsAndAddressesApart) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  EXPECT_EQ(trust.confirm({"192.0.2.7", 9443}, kTwo), std::nullopt);
  EXPECT_EQ(trust.confirm({"192.0.2.8", 8443}, kTwo), std::nullopt);
  EXPECT_EQ(trust.table().size(), 3U);
}

TEST_F(PeerTrustTest, DropsTheOfferWhenTheServerIsItselfAgain) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  trust.refusesCertificate(kPeer, kTwo);
  trust.confirm(kPeer, kOne);
  EXPECT_EQ(trust.table().at(kPeer).offered, "");
}

TEST_F(PeerTrustTest, PinsTheOfferedCertificateWhenToldSo) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  trust.refusesCertificate(kPeer, kTwo);
  EXPECT_EQ(trust.trust(kPeer, kThree), Outcome::kOther);
  EXPECT_EQ(trust.trust(kPeer, kTwo), Outcome::kDone);
  EXPECT_EQ(onDisk().at(kPeer).fingerprint, kTwo) << "at once";
  EXPECT_EQ(onDisk().at(kPeer).offered, "");
  EXPECT_EQ(trust.refusesCertificate(kPeer, kTwo), std::nullopt);
  EXPECT_NE(trust.refusesCertificate(kPeer, kOne), std::nullopt);
}

TEST_F(PeerTrustTest, PinsWhateverIsOfferedWhenNoneIsNamed) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  EXPECT_EQ(trust.trust(kPeer, std::nullopt), Outcome::kUnknown);
  trust.refusesCertificate(kPeer, kTwo);
  EXPECT_EQ(trust.trust(kPeer, std::nullopt), Outcome::kDone);
  EXPECT_EQ(trust.table().at(kPeer).fingerprint, kTwo);
}

TEST_F(PeerTrustTest, DismissesTheOfferWhenThePinIsNamed) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  trust.refusesCertificate(kPeer, kTwo);
  EXPECT_EQ(trust.trust(kPeer, kOne), Outcome::kDone);
  EXPECT_EQ(trust.table().at(kPeer).fingerprint, kOne);
  EXPECT_EQ(trust.table().at(kPeer).offered, "");
}

TEST_F(PeerTrustTest, HasNothingToTrustOrForgetOfAnUnknownServer) {
  PeerTrust trust(mDirectory);
  EXPECT_EQ(trust.trust(kPeer, kOne), Outcome::kUnknown);
  EXPECT_EQ(trust.trust(kPeer, std::nullopt), Outcome::kUnknown);
  EXPECT_EQ(trust.forget(kPeer), Outcome::kUnknown);
}

TEST_F(PeerTrustTest, ForgetsSoThatTheNextContactIsAFirstOne) {
  PeerTrust trust(mDirectory);
  trust.confirm(kPeer, kOne);
  EXPECT_EQ(trust.forget(kPeer), Outcome::kDone);
  EXPECT_TRUE(onDisk().empty());
  EXPECT_EQ(trust.confirm(kPeer, kTwo), std::nullopt);
}

TEST_F(PeerTrustTest, RefusesPlainHttpToAnAddressThatHadTlsAtAnyPort) {
  PeerTrust trust(mDirectory);
  EXPECT_EQ(trust.refusesHttp("192.0.2.7"), std::nullopt);
  trust.confirm(kPeer, kOne);
  EXPECT_EQ(trust.refusesHttp("192.0.2.7"),
            "The server at 192.0.2.7 had TLS before and is not called without it: kvtctl peers forget takes back that "
            "it had");
  EXPECT_EQ(trust.refusesHttp("192.0.2.8"), std::nullopt);
  trust.forget(kPeer);
  EXPECT_EQ(trust.refusesHttp("192.0.2.7"), std::nullopt);
}

TEST_F(PeerTrustTest, RemembersFromOneLifeToTheNext) {
  {
    PeerTrust trust(mDirectory);
    trust.confirm(kPeer, kOne);
  }
  EXPECT_EQ(onDisk().size(), 1U) << "its end writes what was not written";
  PeerTrust trust(mDirectory);
  EXPECT_EQ(trust.refusesCertificate(kPeer, kTwo), kChanged);
}

TEST_F(PeerTrustTest, WritesInTimeAndNotForEveryCall) {
  PeerTrust trust(mDirectory, {milliseconds(10), std::chrono::hours(1), std::chrono::hours(1)});
  trust.confirm(kPeer, kOne);
  EXPECT_TRUE(support::waitFor([&] { return onDisk().size() == 1; }));
  const std::string version = mDirectory.version(Pins::kFile);
  for (int i = 0; i < 100; ++i) {
    trust.confirm(kPeer, kOne);
  }
  EXPECT_EQ(mDirectory.version(Pins::kFile), version);
  trust.refusesCertificate(kPeer, kTwo);
  EXPECT_TRUE(support::waitFor([&] { return onDisk().at(kPeer).offered == kTwo; }));
}

TEST_F(PeerTrustTest, TrustsNobodyWithAFileThatMakesNoSenseAndLeavesItAsItIs) {
  mDirectory.write(Pins::kFile, "{nonsense");
  {
    PeerTrust trust(mDirectory);
    EXPECT_TRUE(mLog.containsPart("PeerTrust:load:"));
    EXPECT_NE(trust.refusesCertificate(kPeer, kOne), std::nullopt);
    EXPECT_NE(trust.confirm(kPeer, kOne), std::nullopt);
    EXPECT_NE(trust.refusesHttp("192.0.2.7"), std::nullopt) << "it may have had TLS";
    EXPECT_EQ(trust.refusesHttp("192.0.2.7")->find(mPlace.path().string()), std::string::npos);
    EXPECT_EQ(trust.forget(kPeer), Outcome::kUnknown);
  }
  EXPECT_EQ(mDirectory.read(Pins::kFile), "{nonsense");
}

TEST_F(PeerTrustTest, GoesOnAndSaysSoWhenItCannotWrite) {
  PeerTrust trust(mDirectory, {std::chrono::hours(1), std::chrono::hours(1), std::chrono::hours(1)});
  trust.confirm(kPeer, kOne);
  trust.refusesCertificate(kPeer, kTwo);
  std::filesystem::create_directories(mPlace.path() / Pins::kFile / "full");
  EXPECT_EQ(trust.trust(kPeer, kTwo), Outcome::kUnwritten);
  EXPECT_TRUE(mLog.containsPart("the pinned certificates cannot be written"));
  EXPECT_EQ(trust.refusesCertificate(kPeer, kTwo), std::nullopt);
}

TEST_F(PeerTrustTest, IsSafeForManyThreads) {
  PeerTrust trust(mDirectory, {milliseconds(1), milliseconds(1), milliseconds(1)});
  std::vector<std::thread> threads;
  for (std::uint16_t n = 1; n <= 4; ++n) {
    threads.emplace_back([&trust, n] {
      for (std::uint16_t i = 1; i <= 50; ++i) {
        const PinnedAddress address{"10.0." + std::to_string(n) + "." + std::to_string(i), 8443};
        trust.confirm(address, kOne);
        trust.refusesCertificate(address, kTwo);
        trust.refusesHttp(address.host);
        if (i % 10 == 0) trust.trust(address, kTwo);
        if (i % 10 == 1) trust.forget(address);
        (void)trust.table();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(trust.table().size(), 4U * 45U);
}

}  // namespace
