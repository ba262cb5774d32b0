#include "heartbeat/AnnounceListener.h"

#include <cerrno>
#include <exception>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <utility>

#include "discovery/RunLogged.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"

namespace heartbeat {

bool AnnounceListener::open() {
  if (mSocket) {
    watchNetwork();
    renew();
    return true;
  }
  std::unique_ptr<AnnounceSocket> socket = AnnounceSocket::open();
  if (!socket) return false;
  if (!makeEvents(*socket)) {
    const int error = errno;
    utils::formatted_log_t(utils::LOG_ERROR,
                           "HeartBeatWin:CreateNetConnections:CreateIoCompletionPort Failed:WSAGetLastError:%1%") %
        error;
    return false;
  }
  mSocket = std::move(socket);
  // Watched before the interfaces are listed for the first time, so that no change is missed.
  watchNetwork();
  if (!mSocket->followInterfaces()) mNetwork.setAlarm();
  return true;
}

bool AnnounceListener::makeEvents(const AnnounceSocket& socket) {
  mEvents = Descriptor(epoll_create1(EPOLL_CLOEXEC));
  if (!mEvents) return false;
  mEndSignal = Descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  return mEndSignal && add(mEndSignal.get(), Source::kEnd) && add(socket.descriptor(), Source::kSocket);
}

void AnnounceListener::watchNetwork() {
  if (mNetwork.isOpen() || !mNetwork.open()) return;
  // The workers learn of it here, and not before.
  const bool isHeard = add(mNetwork.alarm(), Source::kAlarm) && add(mNetwork.notifications(), Source::kNotifications);
  if (!isHeard) mNetwork.close();
}

void AnnounceListener::renew() {
  bool isRenewed = false;
  discovery::runLogged("HeartBeatWin:WorkerThread:the memberships were not renewed:%1%",
                       [&] { isRenewed = mSocket->renew(); });
  if (!isRenewed) mNetwork.setAlarm();
}

bool AnnounceListener::add(int descriptor, Source source) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u32 = static_cast<std::uint32_t>(source);
  return epoll_ctl(mEvents.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void AnnounceListener::work(const Handler& handle) {
  AnnounceBytes buffer{};
  while (!mIsEnding) {
    epoll_event event{};
    const int count = epoll_wait(mEvents.get(), &event, 1, -1);
    if (count < 0 && errno != EINTR) {
      utils::formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:WorkerThread:WorkThread Wait Failed");
      return;
    }
    if (count > 0) serve(static_cast<Source>(event.data.u32), buffer, handle);
  }
}

void AnnounceListener::serve(Source source, AnnounceBytes& buffer, const Handler& handle) {
  switch (source) {
    case Source::kSocket:
      receiveOne(buffer, handle);
      break;
    case Source::kNotifications:
      mNetwork.takeNotifications();
      break;
    case Source::kAlarm:
      if (mNetwork.takeAlarm()) renew();
      break;
    case Source::kEnd:
      break;
  }
}

void AnnounceListener::receiveOne(AnnounceBytes& buffer, const Handler& handle) {
  // Whatever is longer than the buffer is cut by the kernel.
  if (recv(mSocket->descriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT) >= 0) {
    handleGuarded(buffer, handle);
    return;
  }
  const int error = errno;
  const bool isTakenByAnother = error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
  if (!isTakenByAnother && mReadErrors.admits()) {
    utils::formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:WorkerThread:sReadFile Failed:dwErrCode:%1%") % error;
  }
}

void AnnounceListener::handleGuarded(const AnnounceBytes& buffer, const Handler& handle) {
  try {
    handle(buffer);
  } catch (const std::exception& error) {
    utils::observer::counted("announce_records_dropped", "failed");
    if (mExceptions.admits()) {
      utils::formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:WorkerThread:a record was dropped:%1%") % error.what();
    }
  } catch (...) {
    utils::observer::counted("announce_records_dropped", "failed");
    if (mExceptions.admits()) {
      utils::formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:WorkerThread:a record was dropped:unknown exception");
    }
  }
}

void AnnounceListener::end() {
  mIsEnding = true;
  if (mEndSignal) eventfd_write(mEndSignal.get(), 1);
}

}  // namespace heartbeat
