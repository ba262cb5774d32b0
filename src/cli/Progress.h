#pragma once

#include <chrono>
#include <condition_variable>
#include <iosfwd>
#include <mutex>
#include <string>
#include <thread>

namespace cli {

/// Shows, while it lives, what a person waits for and for how long, on a line that is wiped in the end. Meanwhile
/// nobody else may write to that terminal.
class Progress {
 public:
  static constexpr std::chrono::milliseconds kStep{100};

  /// `what` is neutralised. Does nothing when `isTerminal` says that nobody looks.
  Progress(std::ostream& err, bool isTerminal, std::string what, std::chrono::milliseconds step = kStep);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// What is done from now on.
  void say(std::string what);

 private:
  void run(std::chrono::milliseconds step);

  std::ostream& mErr;
  std::mutex mMutex;
  std::condition_variable mEnd;
  bool mHasEnded = false;
  std::string mWhat;
  std::thread mThread;
};

/// Whether somebody looks at the standard error of this process.
bool isErrTerminal();

}  // namespace cli
