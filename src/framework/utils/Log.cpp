#include "framework/utils/Log.h"

#include <atomic>
#include <chrono>
#include <locale>
#include <memory>
#include <mutex>
#include <utility>

#include <spdlog/common.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/dup_filter_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include "framework/utils/LogText.h"

namespace utils {
namespace logging {
namespace {

/// The standard library fills a locale's character tables at their first use, without a lock. Records are formatted by
/// many threads, so the tables are filled before there is a second one.
const struct CharacterTables {
  CharacterTables() {
    const auto& table = std::use_facet<std::ctype<char>>(std::locale());
    table.widen('%');
    for (int c = 1; c < 256; ++c)
      table.narrow(static_cast<char>(c), '\0');
  }
} kCharacterTables;

/// A full file is kept under a numbered name, the oldest goes.
constexpr std::size_t kMaxFileBytes = 10 * 1024 * 1024;
constexpr std::size_t kOldFiles = 5;
constexpr const char* kPattern = "%Y-%m-%dT%H:%M:%S.%e%z %l [%t] %v";

/// For how long a warning or error is not written again while it follows itself. Some come with every server that a
/// pass looks at.
constexpr std::chrono::seconds kRepeatInterval{60};

/// One place where records go.
class Output {
 public:
  explicit Output(std::shared_ptr<spdlog::sinks::sink> sink) : mAll(std::move(sink)), mFailures(kRepeatInterval) {
    mAll->set_formatter(std::make_unique<spdlog::pattern_formatter>(kPattern));
    mFailures.add_sink(mAll);
  }

  void write(const spdlog::details::log_msg& message) {
    if (message.level >= spdlog::level::warn) {
      mFailures.log(message);
    } else {
      mAll->log(message);
    }
    mAll->flush();
  }

 private:
  std::shared_ptr<spdlog::sinks::sink> mAll;
  spdlog::sinks::dup_filter_sink_st mFailures;  ///< hands on to the other, and counts what it leaves out
};

/// Where records go. Never destroyed: static destructors of plug-ins log, too, and threads may until the very end.
struct Log {
  std::atomic<unsigned int> mask = kDefaultMask;

  std::mutex mutex;  ///< guards what follows
  std::unique_ptr<Output> console;
  std::unique_ptr<Output> file;
  Sink sink = nullptr;
  void* sinkContext = nullptr;

  Log() { showOnConsole(true); }

  void showOnConsole(bool on) {
    console.reset();
    if (!on) return;
    console = std::make_unique<Output>(std::make_shared<spdlog::sinks::stderr_sink_mt>());
  }

  static Log& get() {
    static Log* const log = new Log;
    return *log;
  }
};

spdlog::level::level_enum severity(log_level_t level) {
  switch (level) {
    case LOG_ERROR:
      return spdlog::level::err;
    case LOG_FAILURE:
    case LOG_MISMATCH:
      return spdlog::level::warn;
    case LOG_TRACE:
    case LOG_LOOKUP:
      return spdlog::level::trace;
    default:
      return spdlog::level::info;
  }
}

void writeLine(Log& log, log_level_t level, const std::string& text) {
  if (!log.console && !log.file) return;
  const std::string line = printable(text);
  const spdlog::details::log_msg message("", severity(level), line);
  if (log.console) log.console->write(message);
  if (log.file) log.file->write(message);
}

}  // namespace

void setMask(unsigned int mask) {
  Log::get().mask = mask;
}

unsigned int mask() {
  return Log::get().mask;
}

bool enabled(log_level_t level) {
  return (mask() & level) == level;
}

void write(log_level_t level, const std::string& text) noexcept {
  try {
    Log& log = Log::get();
    const std::lock_guard lock(log.mutex);
    if (log.sink != nullptr) log.sink(log.sinkContext, level, text);
    writeLine(log, level, text);
  } catch (...) {  // a full disk or a closed console must not stop the work that is logged
  }
}

bool setFile(const std::string& path) {
  Log& log = Log::get();
  std::unique_ptr<Output> file;
  try {
    if (!path.empty()) {
      file = std::make_unique<Output>(
          std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, kMaxFileBytes, kOldFiles));
    }
  } catch (const spdlog::spdlog_ex&) {
    return false;
  }
  const std::lock_guard lock(log.mutex);
  log.file.swap(file);
  return true;
}

void setConsole(bool on) {
  Log& log = Log::get();
  const std::lock_guard lock(log.mutex);
  log.showOnConsole(on);
}

void setSink(Sink sink, void* context) {
  Log& log = Log::get();
  const std::lock_guard lock(log.mutex);
  log.sink = sink;
  log.sinkContext = context;
}

}  // namespace logging

formatted_log_t::formatted_log_t(log_level_t level, const char* format) : mLevel(level) {
  if (!logging::enabled(level)) return;
  try {
    mFormat.emplace();
    mFormat->exceptions(boost::io::no_error_bits);
    mFormat->parse(format != nullptr ? format : "");
  } catch (...) {
    mFormat.reset();
  }
}

formatted_log_t::~formatted_log_t() {
  if (!mFormat) return;
  try {
    logging::write(mLevel, mFormat->str());
  } catch (...) {  // a record is never worth an exception
  }
}

FunctionTrace::FunctionTrace(const char* qualifiedName) : mName(qualifiedName) {
  formatted_log_t(LOG_TRACE, "%1%") % mName;
}

FunctionTrace::~FunctionTrace() {
  formatted_log_t(LOG_TRACE, "%1%: exit") % mName;
}

}  // namespace utils
