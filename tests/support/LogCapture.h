#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "framework/utils/Log.h"

namespace support {

/// Captures every log record of the process for its lifetime, whatever its level; the console stays quiet meanwhile.
/// One at a time. Safe for every thread.
class LogCapture {
 public:
  struct Record {
    utils::log_level_t level;
    std::string text;
  };

  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Whether a record has exactly this text.
  bool contains(std::string_view text) const { return count(text) > 0; }
  /// How many records have exactly this text.
  std::size_t count(std::string_view text) const;
  /// Whether a record of this level has exactly this text.
  bool has(utils::log_level_t level, std::string_view text) const;
  /// Whether this is a part of some record's text.
  bool containsPart(std::string_view part) const;
  /// The texts in the order in which they were written.
  std::vector<std::string> texts() const;
  std::vector<std::string> texts(utils::log_level_t level) const;
  std::vector<Record> records() const;
  void clear();

 private:
  static void receive(void* context, utils::log_level_t level, const std::string& text);

  const unsigned int mMaskBefore;
  mutable std::mutex mMutex;
  std::vector<Record> mRecords;
};

}  // namespace support
