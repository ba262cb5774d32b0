#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace slp::config {

enum class LogLevel { kWarning, kInfo, kDebug };

using LogSink = std::function<void(LogLevel, std::string_view)>;

/// Where the library's few messages go: syslog until somebody sets a sink. Safe for every thread. A sink gets one
/// message at a time; what it logs itself, by whatever it calls, is dropped. A sink that was replaced runs no more once
/// setLogSink has returned, but for one that replaces itself.
void setLogSink(LogSink sink);
void log(LogLevel level, std::string_view text);
/// At most one message a minute for each `subject`, with the number of those left out; for whatever strangers can
/// cause.
void logLimited(LogLevel level, std::string_view subject, std::string_view text);

}  // namespace slp::config
