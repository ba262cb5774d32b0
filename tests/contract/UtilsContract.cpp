// Names, signatures and slots of namespace utils that plug-ins are compiled against.
#include <exception>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "contract/Pin.h"
#include "framework/utils/Condition.h"
#include "framework/utils/Conversion.h"
#include "framework/utils/DateTime.h"
#include "framework/utils/Exceptions.h"
#include "framework/utils/Log.h"
#include "framework/utils/Mutex.h"
#include "framework/utils/StringHelper.h"
#include "framework/utils/System.h"
#include "framework/utils/Thread.h"
#include "framework/utils/ThreadPool.h"

namespace {

using contract::slotOf;
using utils::StringHelper;
using utils::System;
using utils::Thread;
using utils::ThreadPool;

// System
PIN(&System::get_instance, System* (*)());
PIN(&System::getIPAddresses, int (System::*)(std::string (&)[64], std::string (&)[64], int&, int&));
PIN(&System::getLocalIPAddress, int (System::*)(std::string&));
PIN(&System::getLocalServerId, std::string (System::*)());
PIN(&System::isIPv4Address, bool (System::*)(std::string));
PIN(&System::isIPv6Address, bool (System::*)(std::string));
static_assert(std::has_virtual_destructor_v<System>);

// Threads, pools and locks
static_assert(std::is_constructible_v<Thread, std::string, void (*)()>);
PIN(&Thread::join, void (Thread::*)());
PIN(&Thread::sleep, void (*)(int));
PIN(&Thread::get_id, std::string (*)());
static_assert(std::is_constructible_v<ThreadPool, int>);
PIN(&ThreadPool::addJob, void (ThreadPool::*)(utils::ThreadPoolJob*));
PIN(&ThreadPool::getRunningJobCount, int (ThreadPool::*)());
PIN(&ThreadPool::getPendingJobCount, int (ThreadPool::*)());
PIN(&utils::ThreadPoolJob::execute, void (utils::ThreadPoolJob::*)());
static_assert(std::has_virtual_destructor_v<utils::ThreadPoolJob>);
static_assert(std::is_default_constructible_v<utils::Mutex>);
static_assert(std::is_constructible_v<utils::Lock, utils::Mutex*, bool>);
static_assert(std::is_default_constructible_v<utils::Condition>);
PIN(&utils::Condition::timed_wait, bool (utils::Condition::*)(utils::Lock*, int));
static_assert(std::is_default_constructible_v<utils::SharedMutex>);
static_assert(std::is_constructible_v<utils::SharedLock_SMutex, utils::SharedMutex*>);
static_assert(std::is_constructible_v<utils::UniqueLock_SMutex, utils::SharedMutex*>);

// Helpers
PIN(&StringHelper::to_lower, void (*)(std::string&));
PIN(&StringHelper::split, void (*)(std::vector<std::string>&, const std::string&, const std::string&));
PIN(&StringHelper::replace, void (*)(std::string&, const std::string&, const std::string&));
PIN(&StringHelper::compare_ignore_case, bool (*)(const std::string&, const std::string&));
PIN(&StringHelper::getStringArrayHashCode, int (*)(std::string));
PIN(&utils::Conversion::trimPrefixURI, std::string (*)(std::string));
PIN(&utils::DateTime::get_current_time, void (*)(utils::DateTime&));

// Logging
static_assert(std::is_constructible_v<utils::formatted_log_t, utils::log_level_t, const char*>);
PIN(std::declval<utils::formatted_log_t&>() % 1 % "text" % std::string(), utils::formatted_log_t&);

// Exceptions
static_assert(std::is_base_of_v<std::exception, utils::AppException>);
static_assert(std::is_constructible_v<utils::PluginException, std::string, unsigned int, std::string>);
static_assert(std::is_constructible_v<utils::InputException, std::string, unsigned int, std::string>);
PIN(std::declval<const utils::PluginException&>().getErrorStatusCode(), int);
PIN(std::declval<const utils::PluginException&>().getErrorStatusMessage(), const char*);
PIN(std::declval<const utils::InputException&>().getErrorStatusCode(), int);
PIN(std::declval<const utils::InputException&>().getErrorStatusMessage(), const char*);
PIN(std::declval<const utils::AppException&>().what(), const char*);

TEST(UtilsContract, LevelsAreTheirBits) {
  EXPECT_EQ(utils::LOG_INVENTORY_DETAIL, 0x01u);
  EXPECT_EQ(utils::LOG_ERROR, 0x02u);
  EXPECT_EQ(utils::LOG_FAILURE, 0x04u);
  EXPECT_EQ(utils::LOG_MISMATCH, 0x08u);
  EXPECT_EQ(utils::LOG_INVENTORY, 0x10u);
  EXPECT_EQ(utils::LOG_DETAIL, 0x20u);
  EXPECT_EQ(utils::LOG_TRACE, 0x40u);
  EXPECT_EQ(utils::LOG_LOOKUP, 0xFFu);
}

TEST(UtilsContract, AJobKeepsItsSlots) {
  EXPECT_EQ(slotOf(&utils::ThreadPoolJob::execute), 2u);  // behind the destructor
}

TEST(UtilsContract, TheSystemIsVirtual) {
  constexpr std::size_t kManySlots = 100;
  EXPECT_LT(slotOf(&System::getIPAddresses), kManySlots);
  EXPECT_LT(slotOf(&System::getLocalIPAddress), kManySlots);
  EXPECT_LT(slotOf(&System::getLocalServerId), kManySlots);
  EXPECT_LT(slotOf(&System::isIPv4Address), kManySlots);
  EXPECT_LT(slotOf(&System::isIPv6Address), kManySlots);
}

}  // namespace
