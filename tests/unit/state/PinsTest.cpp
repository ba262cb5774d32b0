#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "state/Pins.h"

namespace {

namespace fs = std::filesystem;
using state::Directory;
using state::Pin;
using state::Pins;

class StatePins : public ::testing::Test {
 protected:
  StatePins() : mBase(makeBase()), mDirectory(mBase) {}
  ~StatePins() override { fs::remove_all(mBase); }

  static fs::path makeBase() {
    std::string name = fs::temp_directory_path() / "kvt-pins-XXXXXX";
    return mkdtemp(name.data());
  }

  const fs::path mBase;
  const Directory mDirectory;
};

const Pin kPin{"SHA256:aa", "2026-01-01T00:00:00Z", "2026-01-02T00:00:00Z", "", ""};
const Pin kOffered{"SHA256:aa", "2026-01-01T00:00:00Z", "2026-01-02T00:00:00Z", "SHA256:bb", "2026-01-03T00:00:00Z"};

TEST_F(StatePins, AreNoneWithoutAFile) {
  EXPECT_TRUE(Pins::load(mDirectory).table().empty());
}

TEST_F(StatePins, ComeBackAsTheyWereSaved) {
  Pins pins;
  EXPECT_TRUE(pins.add({"192.0.2.7", 8443}, kPin));
  EXPECT_TRUE(pins.add({"192.0.2.7", 9443}, kOffered));
  EXPECT_TRUE(pins.add({"fe80::1%eth0", 8443}, kPin));
  pins.save(mDirectory);
  EXPECT_EQ(Pins::load(mDirectory).table(), pins.table());
}

TEST_F(StatePins, KeepTheOneOfAnAddressThatHasOne) {
  Pins pins;
  EXPECT_TRUE(pins.add({"192.0.2.7", 8443}, kPin));
  EXPECT_FALSE(pins.add({"192.0.2.7", 8443}, kOffered));
  EXPECT_EQ(*pins.find({"192.0.2.7", 8443}), kPin);
}

TEST_F(StatePins, AreFoundByAddressAndPort) {
  Pins pins;
  pins.add({"192.0.2.7", 8443}, kPin);
  EXPECT_NE(pins.find({"192.0.2.7", 8443}), nullptr);
  EXPECT_EQ(pins.find({"192.0.2.7", 8444}), nullptr);
  EXPECT_EQ(pins.find({"192.0.2.8", 8443}), nullptr);
}

TEST_F(StatePins, AreHeldByAnAddressAtWhateverPort) {
  Pins pins;
  pins.add({"192.0.2.7", 1}, kPin);
  pins.add({"192.0.2.70", 65535}, kPin);
  EXPECT_TRUE(pins.holds("192.0.2.7"));
  EXPECT_TRUE(pins.holds("192.0.2.70"));
  EXPECT_FALSE(pins.holds("192.0.2"));
  EXPECT_FALSE(pins.holds("192.0.2.71"));
  EXPECT_FALSE(pins.holds(""));
}

TEST_F(StatePins, AreEightAtMostOfAnAddress) {
  Pins pins;
  for (std::uint16_t port = 1; port <= 8; ++port)
    EXPECT_TRUE(pins.add({"192.0.2.7", port}, kPin));
  EXPECT_FALSE(pins.add({"192.0.2.7", 9}, kPin));
  EXPECT_TRUE(pins.add({"192.0.2.8", 9}, kPin));
  EXPECT_EQ(pins.countOf("192.0.2.7"), 8U);
}

TEST_F(StatePins, AreGoneWhenErased) {
  Pins pins;
  pins.add({"192.0.2.7", 8443}, kPin);
  EXPECT_TRUE(pins.erase({"192.0.2.7", 8443}));
  EXPECT_FALSE(pins.erase({"192.0.2.7", 8443}));
  EXPECT_FALSE(pins.holds("192.0.2.7"));
}

TEST_F(StatePins, HaveABoundThatLetsNoneBeDrivenOutAndFitsIntoAFile) {
  const std::string fingerprint = "SHA256:" + std::string(64, 'a');
  Pins pins;
  for (std::size_t i = 0; i < Pins::kMax; ++i) {
    const std::string host = "fe80:1111:2222:3333:4444:5555:6666:" + std::to_string(i) + "%enp0s31f6";
    ASSERT_TRUE(pins.add({host, 65535}, {fingerprint, kPin.since, kPin.since, fingerprint, kPin.since}));
  }
  EXPECT_FALSE(pins.add({"192.0.2.7", 8443}, kPin));
  EXPECT_EQ(pins.table().size(), Pins::kMax);
  pins.save(mDirectory);
  EXPECT_EQ(Pins::load(mDirectory).table().size(), Pins::kMax);
}

class BadFiles : public StatePins, public testing::WithParamInterface<const char*> {};

TEST_P(BadFiles, AreNotTakenForNoPins) {
  mDirectory.write(Pins::kFile, GetParam());
  EXPECT_THROW((void)Pins::load(mDirectory), std::exception);
}

INSTANTIATE_TEST_SUITE_P(
    StatePins, BadFiles,
    testing::Values("", "{", "[]", "{}", R"({"pins":{}})", R"({"pins":[1]})", R"({"pins":[{}]})",
                    R"({"pins":[{"host":"192.0.2.7","port":8443}]})",
                    R"({"pins":[{"host":"192.0.2.7","port":8443,"fingerprint":5}]})",
                    R"({"pins":[{"host":"192.0.2.7","port":0,"fingerprint":"a"}]})",
                    R"({"pins":[{"host":"192.0.2.7","port":65536,"fingerprint":"a"}]})",
                    R"({"pins":[{"host":"192.0.2.7","port":1.5,"fingerprint":"a"}]})",
                    R"({"pins":[{"host":"","port":1,"fingerprint":"a"}]})",
                    R"({"pins":[{"host":"a","port":1,"fingerprint":"a"},{"host":"a","port":1,"fingerprint":"b"}]})"));

}  // namespace
