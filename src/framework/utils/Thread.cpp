#include "framework/utils/Thread.h"

#include <chrono>
#include <exception>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "framework/utils/Interrupt.h"
#include "framework/utils/Log.h"

namespace utils {
namespace {

constexpr std::size_t kMaxNameLength = 15;

void runGuarded(const std::string& name, void (*entry)()) {
  try {
    if (entry != nullptr) entry();
  } catch (const std::exception& error) {
    formatted_log_t(LOG_ERROR, "Thread:run: %1% ended by an exception:%2%") % name % error.what();
  } catch (...) {
    formatted_log_t(LOG_ERROR, "Thread:run: %1% ended by an unknown exception") % name;
  }
}

}  // namespace

/// Shared by the object and its thread, which may outlive the object.
struct Thread::State {
  interrupt::ThreadMark mark;
  std::mutex joining;
  std::thread thread;  ///< touched with `joining` held

  static void run(const std::shared_ptr<State>& state, const std::string& name, void (*entry)()) {
    pthread_setname_np(pthread_self(), name.substr(0, kMaxNameLength).c_str());
    interrupt::setCurrent(&state->mark);
    runGuarded(name, entry);
    interrupt::setCurrent(nullptr);
  }
};

Thread::Thread(std::string name, void (*entry)()) : mState(std::make_shared<State>()) {
  const std::lock_guard lock(mState->joining);
  mState->thread = std::thread(&State::run, mState, std::move(name), entry);
}

Thread::~Thread() {
  const std::lock_guard lock(mState->joining);
  if (mState->thread.joinable()) mState->thread.detach();
}

void Thread::join() {
  if (interrupt::current() == &mState->mark) return;
  interrupt::markJoined(mState->mark);
  const std::lock_guard lock(mState->joining);
  if (mState->thread.joinable()) mState->thread.join();
}

void Thread::sleep(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string Thread::get_id() {
  return std::to_string(gettid());
}

}  // namespace utils
