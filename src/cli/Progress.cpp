#include "cli/Progress.h"

#include <ostream>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "cli/Text.h"

namespace cli {
namespace {

constexpr std::size_t kWidestText = 60;
constexpr std::string_view kWipe = "\r\x1b[K";

std::string fit(const std::string& what) {
  return shorten(neutralise(what), kWidestText);
}

}  // namespace

Progress::Progress(std::ostream& err, bool isTerminal, std::string what, std::chrono::milliseconds step)
    : mErr(err), mWhat(fit(what)) {
  if (isTerminal) mThread = std::thread([this, step] { run(step); });
}

Progress::~Progress() {
  if (!mThread.joinable()) return;
  {
    const std::lock_guard lock(mMutex);
    mHasEnded = true;
  }
  mEnd.notify_all();
  mThread.join();
}

void Progress::say(std::string what) {
  const std::lock_guard lock(mMutex);
  mWhat = fit(what);
}

void Progress::run(std::chrono::milliseconds step) {
  constexpr std::string_view kSigns = "|/-\\";
  const auto begin = std::chrono::steady_clock::now();
  std::unique_lock lock(mMutex);
  std::size_t turn = 0;
  // What is there at once needs no progress.
  for (bool hasEnded = mEnd.wait_for(lock, step, [this] { return mHasEnded; }); !hasEnded;
       hasEnded = mEnd.wait_for(lock, step, [this] { return mHasEnded; })) {
    const auto spent = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
    mErr << kWipe << kSigns[turn++ % kSigns.size()] << ' ' << mWhat << ", " << spent.count() << " s" << std::flush;
  }
  if (turn > 0) mErr << kWipe << std::flush;
}

bool isErrTerminal() {
  return isatty(STDERR_FILENO) == 1;
}

}  // namespace cli
