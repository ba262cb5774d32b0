#pragma once

#include <exception>

#include <boost/exception/exception.hpp>

#include "framework/utils/Log.h"

namespace discovery {

/// Runs what a destructor of that class has to do. No exception leaves it; each is logged.
template <typename Work>
void runInDestructor(const char* className, Work work) noexcept {
  try {
    work();
  } catch (const boost::exception&) {
    utils::formatted_log_t(utils::LOG_ERROR, "Destructor %1% boost exception caught") % className;
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "Destructor %1% std exception caught:='%2%'") % className % error.what();
  } catch (...) {
    utils::formatted_log_t(utils::LOG_ERROR, "Destructor %1% unknown exception caught") % className;
  }
}

}  // namespace discovery
