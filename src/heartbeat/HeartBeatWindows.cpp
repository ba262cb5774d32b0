#include "heartbeat/HeartBeatWindows.h"

#include <exception>
#include <optional>
#include <utility>

#include "discovery/DestructorGuard.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "heartbeat/AnnounceSender.h"
#include "heartbeat/IncomingRecord.h"

namespace discovery {
namespace {

using heartbeat::AnnounceRecord;
using utils::formatted_log_t;
using utils::FunctionTrace;

const char* announcementText(int kind) {
  switch (kind) {
    case AnnounceRecord::kJoin:
      return "HeartBeatWin:performMulticast:Join multicast group:pcSrvURL:%1%";
    case AnnounceRecord::kRegister:
      return "HeartBeatWin:performMulticast:Register:pcSrvURL:%1%";
    default:
      return "HeartBeatWin:performMulticast:Deregister:pcSrvURL:%1%";
  }
}

}  // namespace

HeartBeatWindows* HeartBeatWindows::getInstance() {
  formatted_log_t(utils::LOG_LOOKUP, "discovery::HeartBeatWindows::getInstance");
  static HeartBeatWindows instance;
  return &instance;
}

HeartBeatWindows::HeartBeatWindows() = default;

HeartBeatWindows::~HeartBeatWindows() {
  runInDestructor("HeartBeatWindows", [this] {
    mGate.close();
    const std::lock_guard lock(mStarting);
    releaseThread();
    mListener.end();
    mWorkers.join();
  });
}

void HeartBeatWindows::performMulticast(const char* serviceUrl, int kind, unsigned short lifetime,
                                        std::string attributes) {
  const FunctionTrace trace("discovery::HeartBeatWindows::performMulticast");
  if (launcher::Preferences::get_instance()->get_enable_multicast() == 0) return;
  const std::string url = serviceUrl != nullptr ? serviceUrl : "";
  formatted_log_t(utils::LOG_DETAIL, announcementText(kind)) % url;
  const std::string announced = heartbeat::announcedAttributes(std::move(attributes));
  heartbeat::sendAnnounceRecord(heartbeat::makeAnnounceRecord(url, kind, lifetime, announced));
}

void HeartBeatWindows::invokeThread() {
  const FunctionTrace trace("discovery::HeartBeatWindows::invokeThread");
  const std::lock_guard lock(mStarting);
  releaseThread();
  mGate.open();
  try {
    mThread = std::make_unique<utils::Thread>("slpnotificationthread", &HeartBeatWindows::startSLPNotificationThread);
  } catch (const std::exception& error) {
    formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:invokeThread:no thread:%1%") % error.what();
  }
}

void HeartBeatWindows::terminateThread() {
  const FunctionTrace trace("discovery::HeartBeatWindows::terminateThread");
  const std::lock_guard lock(mStarting);
  if (mThread) mTerminatedThread = std::move(mThread);
  mGate.close();
}

void HeartBeatWindows::startSLPNotificationThread() {
  const FunctionTrace trace("discovery::HeartBeatWindows::startSLPNotificationThread");
  HeartBeatWindows& self = *getInstance();
  if (!self.CreateNetConnections()) {
    formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:startSLPNotificationThread:CreateNetConnections:exiting");
    return;
  }
  if (self.CreateWorkers()) self.waitForRelease();
  formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:startSLPNotificationThread:CreateWorkers:exiting");
}

bool HeartBeatWindows::CreateNetConnections() {
  const FunctionTrace trace("discovery::HeartBeatWindows::CreateNetConnections");
  return mListener.open();
}

bool HeartBeatWindows::CreateWorkers() {
  const FunctionTrace trace("discovery::HeartBeatWindows::CreateWorkers");
  return mWorkers.start([this] { WorkerThread(); });
}

void HeartBeatWindows::WorkerThread() {
  const FunctionTrace trace("discovery::HeartBeatWindows::WorkerThread");
  mListener.work([this](const heartbeat::AnnounceBytes& bytes) {
    if (!mGate.isOpen()) return;
    const AnnounceRecord record = heartbeat::decodeAnnounceRecord(bytes);
    HandleIncomingData(&record);
  });
}

void HeartBeatWindows::HandleIncomingData(const AnnounceRecord* record) {
  const FunctionTrace trace("discovery::HeartBeatWindows::HandleIncomingData");
  if (record == nullptr) return;
  std::optional<heartbeat::HeardRecord> heard;
  mGate.pass([&] { heard = heartbeat::handleAnnounceRecord(*record); });
  if (heard) heartbeat::tellOf(*heard);
}

void HeartBeatWindows::waitForRelease() {
  std::unique_lock lock(mWaiting);
  mReleased.wait(lock, [this] { return mIsReleased; });
}

void HeartBeatWindows::releaseThread() {
  {
    const std::lock_guard lock(mWaiting);
    mIsReleased = true;
  }
  mReleased.notify_all();
  for (std::unique_ptr<utils::Thread>* thread : {&mThread, &mTerminatedThread}) {
    if (*thread) (*thread)->join();
    thread->reset();
  }
  const std::lock_guard lock(mWaiting);
  mIsReleased = false;
}

}  // namespace discovery
