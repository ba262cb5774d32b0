#include "host/IsoTime.h"

#include <ctime>

namespace host {

std::string isoTime(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return "";
  char text[sizeof "-2147483648-12-31T23:59:60Z"];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

}  // namespace host
