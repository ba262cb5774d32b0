#include "host/IsoTime.h"

#include "framework/utils/DateTime.h"

namespace host {

std::string isoTime(std::chrono::system_clock::time_point time) {
  return utils::DateTime(time).to_string();
}

}  // namespace host
