#pragma once

#include <memory>
#include <string>

namespace utils {

/// A named thread that runs a function. Destroying one that still runs detaches it.
class Thread {
 public:
  /// The name shows in `top` and debuggers, cut to the 15 bytes that the system keeps. An exception that leaves `entry`
  /// ends the thread and is logged.
  Thread(std::string name, void (*entry)());
  ~Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  /// Waits for the thread's end; at once when it was joined before or is the calling thread itself.
  void join();

  /// Milliseconds; what is not positive returns at once.
  static void sleep(int milliseconds);
  /// The calling thread's identifier as text, unique among living threads.
  static std::string get_id();

 private:
  struct State;
  std::shared_ptr<State> mState;
};

}  // namespace utils
