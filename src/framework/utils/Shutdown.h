#pragma once

namespace utils {

/// The process-wide "shutting down" state. The host sets it before it shuts its plug-ins down; long waits of threads
/// that are being joined and calls to other servers then end early.
namespace shutdown {

void begin();
bool inProgress();
/// For processes that start over, such as tests.
void reset();

}  // namespace shutdown
}  // namespace utils
