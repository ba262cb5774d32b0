#include "slp/api/Library.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "slp/config/Log.h"
#include "slp/net/Traffic.h"

namespace slp::api {
namespace {

/// Values of properties that stay readable; a program reads a few dozen.
constexpr std::size_t kKeptPropertyTexts = 256;
/// A cancelled call ends within 50 ms, but for the time that a callback of its caller takes.
constexpr std::chrono::seconds kExitPatience{1};

// Nothing of these has a destructor, so that they can be asked when everything else has gone.
std::atomic<bool> sGone{false};
std::atomic<int> sUses{0};
thread_local int tUses = 0;

/// Owns the library, and sees to an orderly end.
class Owner {
 public:
  Owner() : mLibrary(std::make_unique<Library>()) {}
  ~Owner() {
    sGone = true;
    mLibrary->handles.closeAll();
    // exit() may have been called by a callback: the calls of this thread will never end.
    const auto deadline = std::chrono::steady_clock::now() + kExitPatience;
    while (sUses > tUses && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    // A callback that does not come back would return into what has been destroyed: better to leave it all in place.
    if (sUses > tUses) static_cast<void>(mLibrary.release());
    mLibrary.reset();
    config::setLogSink(nullptr);
    net::setTrafficCounter(nullptr);
  }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;

  Library* get() const { return mLibrary.get(); }

 private:
  std::unique_ptr<Library> mLibrary;
};

Library* theLibrary() {
  static const Owner owner;
  return owner.get();
}

}  // namespace

Library::Library()
    : serviceAgent(directoryAgents),
      userAgent(serviceAgent, directoryAgents, responders),
      propertyTexts(kKeptPropertyTexts) {
  const std::optional<std::string> file = config::configurationFile();
  if (!file) return;
  for (const std::string& warning : properties.readFile(*file))
    config::log(config::LogLevel::kWarning, warning);
}

Library::~Library() = default;

LibraryUse::LibraryUse() {
  ++tUses;
  ++sUses;
  try {
    if (!sGone) mLibrary = theLibrary();
  } catch (...) {
    --sUses;
    --tUses;
    throw;
  }
}

LibraryUse::~LibraryUse() {
  --sUses;
  --tUses;
}

bool libraryHasGone() {
  return sGone;
}

}  // namespace slp::api
