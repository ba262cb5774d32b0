#include "support/LogCapture.h"

#include <algorithm>

namespace support {
namespace {

constexpr unsigned int kEverything = ~0u;

}  // namespace

LogCapture::LogCapture() : mMaskBefore(utils::logging::mask()) {
  utils::logging::setConsole(false);
  utils::logging::setSink(&LogCapture::receive, this);
  utils::logging::setMask(kEverything);
}

LogCapture::~LogCapture() {
  utils::logging::setMask(mMaskBefore);
  utils::logging::setSink(nullptr, nullptr);
  utils::logging::setConsole(true);
}

std::size_t LogCapture::count(std::string_view text) const {
  const std::lock_guard lock(mMutex);
  return static_cast<std::size_t>(
      std::count_if(mRecords.begin(), mRecords.end(), [&](const Record& record) { return record.text == text; }));
}

bool LogCapture::has(utils::log_level_t level, std::string_view text) const {
  const std::lock_guard lock(mMutex);
  return std::any_of(mRecords.begin(), mRecords.end(),
                     [&](const Record& record) { return record.level == level && record.text == text; });
}

bool LogCapture::containsPart(std::string_view part) const {
  const std::lock_guard lock(mMutex);
  return std::any_of(mRecords.begin(), mRecords.end(),
                     [&](const Record& record) { return record.text.find(part) != std::string::npos; });
}

std::vector<std::string> LogCapture::texts() const {
  std::vector<std::string> texts;
  for (const auto& record : records())
    texts.push_back(record.text);
  return texts;
}

std::vector<std::string> LogCapture::texts(utils::log_level_t level) const {
  std::vector<std::string> texts;
  for (const auto& record : records()) {
    if (record.level == level) texts.push_back(record.text);
  }
  return texts;
}

std::vector<LogCapture::Record> LogCapture::records() const {
  const std::lock_guard lock(mMutex);
  return mRecords;
}

void LogCapture::clear() {
  const std::lock_guard lock(mMutex);
  mRecords.clear();
}

void LogCapture::receive(void* context, utils::log_level_t level, const std::string& text) {
  auto& capture = *static_cast<LogCapture*>(context);
  const std::lock_guard lock(capture.mMutex);
  capture.mRecords.push_back({level, text});
}

}  // namespace support
