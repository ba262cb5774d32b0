// A process that ends while the SLP library is in use, in the way that its first argument names. Its exit code is 0
// when all went well.

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <unistd.h>

#include "Support.h"
#include "slp/include/slp.h"

namespace {

using slp::api::Recorder;

bool sCheckAfterwards = false;
SLPHandle sHandle = nullptr;

/// Every function that returns a code, once the library has gone.
bool allSayThatItHasGone() {
  Recorder recorder;
  char* scopes = nullptr;
  SLPHandle handle = nullptr;
  const SLPError results[] = {
      SLPOpen("en", SLP_FALSE, &handle),
      SLPReg(sHandle, "service:a://h", 60, "", "", SLP_TRUE, slp::api::recordReport, &recorder),
      SLPDereg(sHandle, "service:a://h", slp::api::recordReport, &recorder),
      SLPDelAttrs(sHandle, "service:a://h", "a", slp::api::recordReport, &recorder),
      SLPFindSrvTypes(sHandle, "*", "", slp::api::recordText, &recorder),
      SLPFindSrvs(sHandle, "service:a", "", "", slp::api::recordUrl, &recorder),
      SLPFindAttrs(sHandle, "service:a", "", "", slp::api::recordText, &recorder),
      SLPFindScopes(sHandle, &scopes),
      SLPAssociateIP(sHandle, "127.0.0.1"),
      SLPAssociateIFList(sHandle, "127.0.0.1"),
  };
  for (const SLPError result : results) {
    if (result != SLP_NETWORK_INIT_FAILED) return false;
  }
  SLPClose(sHandle);
  SLPSetProperty("net.slp.locale", "de");
  SLPSetLog(nullptr, nullptr);
  SLPSrvURL* url = nullptr;  // needs nothing of the library
  const bool parsed = SLPParseSrvURL("service:a://h", &url) == SLP_OK;
  SLPFree(url);
  return recorder.calls.empty() && SLPGetProperty("net.slp.locale") == nullptr && SLPGetRefreshInterval() == 0 &&
         parsed;
}

/// Made before the library, and therefore gone after it.
struct Afterwards {
  ~Afterwards() {
    if (sCheckAfterwards) _exit(allSayThatItHasGone() ? 0 : 1);
  }
} sAfterwards;

void setUp() {
  SLPSetProperty("net.slp.port", std::to_string(slp::api::freePort()).c_str());
  SLPSetProperty("net.slp.interfaces", "lo");
  SLPOpen("en", SLP_FALSE, &sHandle);
}

int registerService() {
  Recorder recorder;
  return SLPReg(sHandle, "service:a://h", 60, "", "", SLP_TRUE, slp::api::recordReport, &recorder) == SLP_OK ? 0 : 1;
}

SLPBoolean exitInside(SLPHandle, const char*, unsigned short, SLPError, void*) {
  std::exit(0);
}

/// Another thread waits for a host that does not answer, and must be ended before the process may go.
int exitWhileSearching() {
  static const slp::api::SilentPort port;
  SLPSetProperty("net.slp.port", std::to_string(port.port()).c_str());
  SLPSetProperty("net.slp.datagramTimeouts", "60000,60000");
  SLPAssociateIP(sHandle, "127.0.0.1");
  std::thread([] {
    Recorder recorder;
    SLPError result = SLP_HANDLE_IN_USE;  // the loop below has the handle now and then
    while (result == SLP_HANDLE_IN_USE)
      result = SLPFindSrvs(sHandle, "service:a", "", "", slp::api::recordUrl, &recorder);
    if (result != SLP_PARAMETER_BAD || !recorder.calls.empty()) _exit(1);
  }).detach();
  while (SLPAssociateIFList(sHandle, "") != SLP_HANDLE_IN_USE)
    std::this_thread::yield();
  return 0;
}

/// Another thread is in a callback that never returns.
int exitWhileCallbackHangs() {
  static std::atomic<bool> inside{false};
  std::thread([] {
    const auto hang = [](SLPHandle, SLPError, void*) {
      inside = true;
      while (true)
        pause();
    };
    SLPReg(sHandle, "service:a://h", 60, "", "", SLP_TRUE, hang, nullptr);
  }).detach();
  while (!inside)
    std::this_thread::yield();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "unused") {
    sCheckAfterwards = false;
    return 0;
  }
  setUp();
  if (registerService() != 0) return 1;
  if (mode == "afterwards") {
    sCheckAfterwards = true;
    return 0;
  }
  if (mode == "in-callback") {
    SLPFindSrvs(sHandle, "service:a", "", "", exitInside, nullptr);
    return 1;  // not reached
  }
  if (mode == "searching") return exitWhileSearching();
  if (mode == "hanging") return exitWhileCallbackHangs();
  return 2;
}
