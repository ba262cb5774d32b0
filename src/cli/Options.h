#pragma once

#include <chrono>
#include <iosfwd>
#include <string>
#include <variant>

#include "cli/ExitCode.h"

namespace cli {

enum class Command { kList, kSearch, kAdd, kRemove, kDetails };
enum class Format { kTable, kJson };

/// What the command line asks for.
struct Options {
  Command command = Command::kList;
  std::string argument;  ///< the address or identifier; "self" for details without one
  std::string server = "http://127.0.0.1:8443";
  Format format = Format::kTable;
  std::chrono::milliseconds timeout{10'000};
};

/// The options, or the exit code when there is nothing to do: help was asked for and written, or the line is wrong and
/// `err` says in what. The environment's KVT_SERVER stands in for --server.
std::variant<Options, ExitCode> parseOptions(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace cli
