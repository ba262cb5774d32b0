#include "host/http/Descriptors.h"

#include <algorithm>
#include <sys/resource.h>

#include "framework/utils/Log.h"

namespace host {
namespace {

/// Listeners, libraries, logs, the calls to other servers, and the sockets of plug-ins.
constexpr rlim_t kForTheRest = 256;

}  // namespace

unsigned int makeRoomForConnections(unsigned int wanted) {
  rlimit bound{};
  if (getrlimit(RLIMIT_NOFILE, &bound) != 0) return wanted;
  const rlim_t before = bound.rlim_cur;
  bound.rlim_cur = bound.rlim_max;
  if (before < bound.rlim_max && setrlimit(RLIMIT_NOFILE, &bound) != 0) bound.rlim_cur = before;
  if (bound.rlim_cur >= wanted + kForTheRest) return wanted;
  const rlim_t rest = std::min(kForTheRest, bound.rlim_cur / 2);
  const auto room = static_cast<unsigned int>(std::max<rlim_t>(1, bound.rlim_cur - rest));
  utils::formatted_log_t(utils::LOG_FAILURE,
                         "limits.connections is %1%, but the system lets this process open %2% files at a time "
                         "(LimitNOFILE of a unit, ulimit -n): it takes %3% connections") %
      wanted % static_cast<unsigned long>(bound.rlim_cur) % room;
  return std::min(wanted, room);
}

}  // namespace host
