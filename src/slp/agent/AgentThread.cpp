#include "slp/agent/AgentThread.h"

#include <csignal>
#include <system_error>

namespace slp::agent {
namespace {

/// Nothing here is deep: the depth of filters is bounded, batches of datagrams are on the heap, and the largest array
/// on the stack is the 16 KiB by which connections are read. What is not used costs no memory.
constexpr std::size_t kStack = 512 * 1024;

/// Blocks every signal in this thread, so that one that it makes starts with them blocked.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mBefore);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t mBefore{};
};

}  // namespace

AgentThread::AgentThread(std::unique_ptr<AgentLoop> loop) : mLoop(std::move(loop)) {
  const SignalsBlocked blocked;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kStack);
  const int error = pthread_create(&mThread, &attributes, &AgentThread::main, mLoop.get());
  pthread_attr_destroy(&attributes);
  if (error != 0) throw std::system_error(error, std::generic_category(), "pthread_create");
  pthread_setname_np(mThread, "slp-agent");
}

AgentThread::~AgentThread() {
  mLoop->changes().stop();
  pthread_join(mThread, nullptr);
}

void* AgentThread::main(void* loop) {
  static_cast<AgentLoop*>(loop)->run();
  return nullptr;
}

}  // namespace slp::agent
