#include "framework/utils/DateTime.h"

#include <ctime>

namespace utils {

void DateTime::get_current_time(DateTime& time) {
  time.mValue = std::chrono::system_clock::now();
}

std::string DateTime::to_string() const {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(mValue);
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return "";
  char text[sizeof "-2147483648-12-31T23:59:60Z"];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

}  // namespace utils
