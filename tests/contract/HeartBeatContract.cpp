// Names, signatures and slots of the announcements, which the inventory makes and hears.
#include <type_traits>

#include <gtest/gtest.h>

#include "contract/Pin.h"
#include "heartbeat/AnnounceRecord.h"
#include "heartbeat/HeartBeat.h"
#include "heartbeat/HeartBeatWindows.h"

namespace {

using contract::slotOf;
using discovery::HeartBeatWindows;
using heartbeat::HeartBeat;

static_assert(std::is_abstract_v<HeartBeat>);
PIN(&HeartBeat::getInstance, HeartBeat* (*)());
PIN(&HeartBeat::performMulticast, void (HeartBeat::*)(const char*, int, unsigned short, std::string));
PIN(&HeartBeat::invokeThread, void (HeartBeat::*)());
PIN(&HeartBeat::terminateThread, void (HeartBeat::*)());

TEST(HeartBeatContract, KeepsItsSlots) {
  EXPECT_EQ(slotOf(&HeartBeat::performMulticast), 0u);
  EXPECT_EQ(slotOf(&HeartBeat::invokeThread), 1u);
  EXPECT_EQ(slotOf(&HeartBeat::terminateThread), 2u);
}

static_assert(std::is_base_of_v<HeartBeat, HeartBeatWindows>);
PIN(&HeartBeatWindows::getInstance, HeartBeatWindows* (*)());
PIN(&HeartBeatWindows::performMulticast, void (HeartBeatWindows::*)(const char*, int, unsigned short, std::string));
PIN(&HeartBeatWindows::invokeThread, void (HeartBeatWindows::*)());
PIN(&HeartBeatWindows::terminateThread, void (HeartBeatWindows::*)());
PIN(&HeartBeatWindows::HandleIncomingData, void (HeartBeatWindows::*)(const heartbeat::AnnounceRecord*));

// What goes over the network
static_assert(heartbeat::kAnnounceRecordSize == 1640);
static_assert(heartbeat::kAnnouncePort == 1847);
static_assert(heartbeat::AnnounceRecord::kJoin == -1);
static_assert(heartbeat::AnnounceRecord::kRegister == 0);
static_assert(heartbeat::AnnounceRecord::kDeregister == 1);

TEST(HeartBeatContract, KeepsItsGroup) {
  EXPECT_STREQ(heartbeat::kAnnounceGroup, "239.255.255.253");
}

}  // namespace
