#pragma once

#include <memory>
#include <pthread.h>

#include "slp/agent/AgentLoop.h"

namespace slp::agent {

/// Runs the loop in a thread of its own, with a name, no signals (they belong to the program) and a small stack. The
/// destructor stops the loop and joins the thread.
class AgentThread {
 public:
  /// std::system_error when no thread can be made.
  explicit AgentThread(std::unique_ptr<AgentLoop> loop);
  ~AgentThread();
  AgentThread(const AgentThread&) = delete;
  AgentThread& operator=(const AgentThread&) = delete;

  AgentLoop& loop() { return *mLoop; }

 private:
  static void* main(void* loop);
  std::unique_ptr<AgentLoop> mLoop;
  pthread_t mThread{};
};

}  // namespace slp::agent
