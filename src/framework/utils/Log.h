#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include <boost/format.hpp>

namespace utils {

/// Bit values; a record is written when the log's mask has all bits of its level.
enum log_level_t : unsigned int {
  LOG_INVENTORY_DETAIL = 0x01,
  LOG_ERROR = 0x02,
  LOG_FAILURE = 0x04,  ///< failed, and survived
  LOG_MISMATCH = 0x08,
  LOG_INVENTORY = 0x10,
  LOG_DETAIL = 0x20,
  LOG_TRACE = 0x40,  ///< entry and exit of functions
  LOG_LOOKUP = 0xFF  ///< singleton look-ups: only when everything is logged
};

/// One log record with positional arguments ("%1%", "%2%"), written when the object ends. The level is checked before
/// anything is formatted. Too few or too many arguments never throw.
class formatted_log_t {
 public:
  formatted_log_t(log_level_t level, const char* format);
  ~formatted_log_t();
  formatted_log_t(const formatted_log_t&) = delete;
  formatted_log_t& operator=(const formatted_log_t&) = delete;

  template <typename T>
  formatted_log_t& operator%(const T& argument) {
    if (mFormat) feed(argument);
    return *this;
  }

 private:
  template <typename T>
  void feed(const T& argument) noexcept {
    try {
      *mFormat % argument;
    } catch (...) {  // an argument that cannot be printed costs only its place
    }
  }

  log_level_t mLevel;
  std::optional<std::size_t> mKey;  ///< of its format, where that names a message
  std::optional<boost::format> mFormat;
};

/// Traces entry and exit of a function under its qualified name.
class FunctionTrace {
 public:
  explicit FunctionTrace(const char* qualifiedName);
  ~FunctionTrace();
  FunctionTrace(const FunctionTrace&) = delete;
  FunctionTrace& operator=(const FunctionTrace&) = delete;

 private:
  const char* mName;
};

/// Where records go and which of them. Errors, survived failures and mismatches are written a few times a minute each,
/// counted by their format where it has words and else by their text; how many were left out is told with the next
/// record after that minute. Safe for every thread.
namespace logging {

/// Receives each record, also those that are left out elsewhere. Called by the logging thread; must not log.
using Sink = void (*)(void* context, log_level_t level, const std::string& text);

/// A mask that shows errors, survived failures and mismatches.
constexpr unsigned int kDefaultMask = LOG_ERROR | LOG_FAILURE | LOG_MISMATCH;

void setMask(unsigned int mask);
unsigned int mask();
bool enabled(log_level_t level);
/// Writes one finished text, past the format.
void write(log_level_t level, const std::string& text) noexcept;
/// Opens a file to append to, beside the console; "" for none. What comes back puts it in the place of the present one;
/// nothing when it cannot be opened.
std::optional<std::function<void()>> openFile(const std::string& path);
/// Opens it and puts it in place at once. False when it cannot be opened.
bool setFile(const std::string& path);
/// Whether records go to the console (stderr).
void setConsole(bool on);
/// Records go to systemd's journal under this name, with their priorities; "" for not any more. False where no journal
/// listens.
bool setJournal(const std::string& identifier);
/// A further receiver, for tests; null takes it away.
void setSink(Sink sink, void* context);

}  // namespace logging
}  // namespace utils
