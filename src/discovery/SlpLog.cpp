#include "discovery/SlpLog.h"

#ifndef SD_SYSTEM_SLP

#include <slp.h>

#include "framework/utils/Log.h"

namespace discovery {
namespace {

/// LOG_WARNING of syslog.
constexpr int kSyslogWarning = 4;

/// Called with a lock of the library held, so it must do no more than log.
void logMessage(int level, const char* text, void*) {
  try {
    const auto ours = level <= kSyslogWarning ? utils::LOG_FAILURE : utils::LOG_DETAIL;
    utils::formatted_log_t(ours, "SLP:%1%") % text;
  } catch (...) {  // only the record is lost
  }
}

}  // namespace

SlpLog::SlpLog() {
  SLPSetLog(logMessage, nullptr);
}

SlpLog::~SlpLog() {
  SLPSetLog(nullptr, nullptr);
}

}  // namespace discovery

#else

namespace discovery {

SlpLog::SlpLog() = default;
SlpLog::~SlpLog() = default;

}  // namespace discovery

#endif
