#include <stdexcept>

#include <boost/exception/all.hpp>
#include <gtest/gtest.h>

#include "discovery/DestructorGuard.h"
#include "support/LogCapture.h"

namespace {

using discovery::runInDestructor;

struct BoostError : virtual boost::exception, virtual std::exception {};

TEST(DestructorGuard, RunsTheWork) {
  bool ran = false;
  runInDestructor("Inventory", [&] { ran = true; });
  EXPECT_TRUE(ran);
}

TEST(DestructorGuard, LogsAStandardException) {
  const support::LogCapture log;
  runInDestructor("RemoteServerDiscovery", [] { throw std::runtime_error("no more memory"); });
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "Destructor RemoteServerDiscovery std exception caught:='no more memory'"));
}

TEST(DestructorGuard, LogsABoostException) {
  const support::LogCapture log;
  runInDestructor("RemoteServerDiscovery", [] { throw BoostError(); });
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "Destructor RemoteServerDiscovery boost exception caught"));
}

TEST(DestructorGuard, LogsWhateverElseIsThrown) {
  const support::LogCapture log;
  runInDestructor("RemoteServerDiscovery", [] { throw 1; });
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "Destructor RemoteServerDiscovery unknown exception caught"));
}

}  // namespace
