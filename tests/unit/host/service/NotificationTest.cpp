#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/service/Notification.h"

namespace {

namespace notification = host::notification;
using testing::HasSubstr;

/// Stands for the service manager: a datagram socket that the environment names.
class Manager {
 public:
  Manager() : mSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, mPath.c_str(), sizeof address.sun_path - 1);
    if (bind(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("no socket at " + mPath);
    }
    setenv("NOTIFY_SOCKET", mPath.c_str(), 1);
  }
  ~Manager() {
    unsetenv("NOTIFY_SOCKET");
    close(mSocket);
    unlink(mPath.c_str());
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  /// The next message, "" when there is none.
  std::string take() const {
    char buffer[1024];
    const ssize_t length = recv(mSocket, buffer, sizeof buffer, 0);
    return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
  }

 private:
  const std::string mPath = testing::TempDir() + "notify-" + std::to_string(getpid());
  const int mSocket;
};

TEST(Notification, TellsTheManagerWhatGoesOn) {
  const Manager manager;
  notification::ready("listens on [::]:8443");
  EXPECT_EQ(manager.take(), "READY=1\nSTATUS=listens on [::]:8443");
  notification::reloading();
  EXPECT_THAT(manager.take(), testing::AllOf(HasSubstr("RELOADING=1\n"), HasSubstr("MONOTONIC_USEC=")));
  notification::alive();
  EXPECT_EQ(manager.take(), "WATCHDOG=1");
  notification::stopping();
  EXPECT_THAT(manager.take(), HasSubstr("STOPPING=1\n"));
}

TEST(Notification, LetsAStatusSayNothingElse) {
  const Manager manager;
  notification::ready("one\nSTOPPING=1");
  EXPECT_EQ(manager.take(), "READY=1\nSTATUS=one STOPPING=1");
}

TEST(Notification, DoesNothingWithoutAManager) {
  unsetenv("NOTIFY_SOCKET");
  notification::ready("x");
  notification::alive();
}

TEST(Notification, KnowsHowLongTheManagerWaits) {
  unsetenv("WATCHDOG_PID");
  unsetenv("WATCHDOG_USEC");
  EXPECT_FALSE(notification::watchdogTimeout());
  setenv("WATCHDOG_USEC", "30000000", 1);
  EXPECT_EQ(notification::watchdogTimeout(), std::chrono::seconds(30));
  setenv("WATCHDOG_PID", "1", 1);
  EXPECT_FALSE(notification::watchdogTimeout()) << "it waits for another process";
  unsetenv("WATCHDOG_PID");
  unsetenv("WATCHDOG_USEC");
}

}  // namespace
