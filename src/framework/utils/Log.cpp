#include "framework/utils/Log.h"

#include <atomic>
#include <chrono>
#include <locale>
#include <memory>
#include <mutex>
#include <string_view>
#include <unistd.h>
#include <utility>

#include <spdlog/common.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/systemd_sink.h>

#include "framework/utils/LogRepeats.h"
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

constexpr const char* kJournalSocket = "/run/systemd/journal/socket";

using Output = std::shared_ptr<spdlog::sinks::sink>;

Output lineOutput(Output sink) {
  sink->set_formatter(std::make_unique<spdlog::pattern_formatter>(kPattern));
  return sink;
}

/// Where records go. Never destroyed: static destructors of plug-ins log, too, and threads may until the very end.
struct Log {
  std::atomic<unsigned int> mask = kDefaultMask;

  std::mutex mutex;  ///< guards what follows
  Output console = lineOutput(std::make_shared<spdlog::sinks::stderr_sink_mt>());
  Output file;
  Output journal;
  LogRepeats repeats;
  Sink sink = nullptr;
  void* sinkContext = nullptr;

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

void writeTo(const Output& output, const spdlog::details::log_msg& message) noexcept {
  if (!output) return;
  try {
    output->log(message);
    output->flush();
  } catch (...) {  // a full disk or a closed console must not stop the work that is logged, nor the other outputs
  }
}

void writeLine(Log& log, log_level_t level, const std::string& text) {
  const std::string line = printable(text);
  const spdlog::details::log_msg message("", severity(level), line);
  writeTo(log.console, message);
  writeTo(log.file, message);
  writeTo(log.journal, message);
}

void tellLeftOut(Log& log, LogRepeats::TimePoint now) {
  for (const LogRepeats::LeftOut& leftOut : log.repeats.takeDue(now)) {
    writeLine(log, leftOut.level,
              "left out " + std::to_string(leftOut.count) + " more within a minute like: " + leftOut.sample);
  }
}

/// What was asked for, as information and traces are, is written whatever it repeats.
bool isLimited(log_level_t level) {
  return severity(level) >= spdlog::level::warn;
}

void writeKeyed(log_level_t level, const std::string& text, std::size_t key) noexcept {
  try {
    Log& log = Log::get();
    const std::lock_guard lock(log.mutex);
    if (log.sink != nullptr) log.sink(log.sinkContext, level, text);
    if (!log.console && !log.file && !log.journal) return;
    const auto now = std::chrono::steady_clock::now();
    const bool isWritten = !isLimited(level) || log.repeats.admit(key, level, text, now);
    tellLeftOut(log, now);
    if (isWritten) writeLine(log, level, text);
  } catch (...) {  // no memory: the record is lost, and nothing else
  }
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
  writeKeyed(level, text, repeatKey(text));
}

std::optional<std::function<void()>> openFile(const std::string& path) {
  Output file;
  try {
    if (!path.empty()) {
      file = lineOutput(std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, kMaxFileBytes, kOldFiles));
    }
  } catch (const spdlog::spdlog_ex&) {
    return std::nullopt;
  }
  return [file] {
    Log& log = Log::get();
    const std::lock_guard lock(log.mutex);
    log.file = file;
  };
}

bool setFile(const std::string& path) {
  const auto putInPlace = openFile(path);
  if (putInPlace) (*putInPlace)();
  return putInPlace.has_value();
}

void setConsole(bool on) {
  Output console = on ? lineOutput(std::make_shared<spdlog::sinks::stderr_sink_mt>()) : nullptr;
  Log& log = Log::get();
  const std::lock_guard lock(log.mutex);
  log.console = std::move(console);
}

bool setJournal(const std::string& identifier) {
  // Without a listener the journal's library throws records away and says nothing.
  if (!identifier.empty() && access(kJournalSocket, W_OK) != 0) return false;
  Output journal = identifier.empty() ? nullptr : std::make_shared<spdlog::sinks::systemd_sink_mt>(identifier);
  Log& log = Log::get();
  const std::lock_guard lock(log.mutex);
  log.journal = std::move(journal);
  return true;
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
    const std::string_view text = format != nullptr ? format : "";
    if (logging::hasWords(text)) mKey = logging::repeatKey(text);
    mFormat.emplace();
    mFormat->exceptions(boost::io::no_error_bits);
    mFormat->parse(std::string(text));
  } catch (...) {
    mFormat.reset();
  }
}

formatted_log_t::~formatted_log_t() {
  if (!mFormat) return;
  try {
    const std::string text = mFormat->str();
    logging::writeKeyed(mLevel, text, mKey ? *mKey : logging::repeatKey(text));
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
