#pragma once

#include <exception>

#include "framework/utils/Log.h"

namespace discovery {

/// Runs a step that is not to keep the next ones from being taken: what it throws is logged as an error, by a format
/// with one argument, and goes no further.
template <typename Step>
void runLogged(const char* format, const Step& step) {
  try {
    step();
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, format) % error.what();
  } catch (...) {
    utils::formatted_log_t(utils::LOG_ERROR, format) % "unknown exception";
  }
}

}  // namespace discovery
