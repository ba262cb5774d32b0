#pragma once

#include <chrono>

namespace host::signals {

/// Keeps SIGTERM, SIGINT and SIGHUP for `wait`, in this thread and in those that it makes from now on, and has writes
/// to closed connections fail instead of ending the process. To be called before any thread is made.
void block();

/// Waits for one of those three and returns its number.
int wait();

/// The end has begun: a further SIGTERM or SIGINT ends the process at once, and so does the deadline, with a message.
void limitTheEnd(std::chrono::seconds deadline);

}  // namespace host::signals
