#include "heartbeat/AnnounceWorkers.h"

#include <exception>
#include <pthread.h>
#include <system_error>

#include "framework/utils/Log.h"

namespace heartbeat {
namespace {

void runGuarded(const std::function<void()>& body) {
  pthread_setname_np(pthread_self(), "announceworker");
  try {
    body();
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:WorkerThread:ended by an exception:%1%") % error.what();
  } catch (...) {
    utils::formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:WorkerThread:ended by an unknown exception");
  }
}

}  // namespace

bool AnnounceWorkers::start(const std::function<void()>& body) {
  mThreads.reserve(kCount);
  while (mThreads.size() < kCount) {
    try {
      mThreads.emplace_back(runGuarded, body);
    } catch (const std::system_error& error) {
      utils::formatted_log_t(utils::LOG_ERROR,
                             "HeartBeatWin:CreateWorkers:Create Worker Thread Failed:WSAGetLastError:%1%") %
          error.code().value();
      return false;
    }
  }
  return true;
}

void AnnounceWorkers::join() {
  for (std::thread& thread : mThreads)
    thread.join();
  mThreads.clear();
}

}  // namespace heartbeat
