#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/System.h"
#include "support/FakeSystem.h"

namespace {

using utils::System;

TEST(System, IsTheMachineUnlessReplaced) {
  System* const machine = System::get_instance();
  ASSERT_NE(machine, nullptr);
  {
    support::FakeSystem fake;
    EXPECT_EQ(System::get_instance(), &fake);
    {
      support::FakeSystem second;
      EXPECT_EQ(System::get_instance(), &second);
    }
    EXPECT_EQ(System::get_instance(), &fake);
  }
  EXPECT_EQ(System::get_instance(), machine);
}

TEST(System, HasAnIdentifierThatCanStandInAPath) {
  EXPECT_THAT(System::get_instance()->getLocalServerId(), testing::MatchesRegex("[a-z0-9._-]+"));
}

TEST(FakeSystem, AnswersWhatItWasTold) {
  support::FakeSystem system;
  system.setInterfaces({{"eth0", "", {"10.0.0.1", "10.0.0.2"}, {"2001:db8::1"}}, {"eth1", "", {"10.1.0.1"}, {}}});
  std::string ipV4[System::kMaxAddresses];
  std::string ipV6[System::kMaxAddresses];
  int count4 = -1;
  int count6 = -1;
  EXPECT_NE(system.getIPAddresses(ipV4, ipV6, count4, count6), 0);
  EXPECT_EQ(count4, 3);
  EXPECT_EQ(count6, 1);
  EXPECT_EQ(ipV4[2], "10.1.0.1");
  std::string local;
  EXPECT_NE(system.getLocalIPAddress(local), 0);
  EXPECT_EQ(local, "10.0.0.1");
  system.failGetIPAddresses();
  EXPECT_EQ(system.getIPAddresses(ipV4, ipV6, count4, count6), 0);
}

}  // namespace
