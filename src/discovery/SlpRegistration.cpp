#include "discovery/SlpRegistration.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "framework/utils/Log.h"
#include "heartbeat/AnnounceRecord.h"
#include "heartbeat/HeartBeat.h"

namespace discovery {
namespace {

using heartbeat::AnnounceRecord;
using heartbeat::HeartBeat;

void logResult(utils::log_level_t level, const char* format, SLPError result) {
  utils::formatted_log_t(level, format) % static_cast<int>(result);
}

}  // namespace

std::int32_t toPort(const std::string& text) {
  using Limits = std::numeric_limits<std::int32_t>;
  const long number = std::strtol(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long>(number, Limits::min(), Limits::max()));
}

SLPError registerWithSlp(SlpHandles& handles, const std::string& url, const std::string& attributes,
                         SLPRegReport* report) {
  const SlpHandle handle(handles, SlpHandles::Use::kRegistration);
  logResult(utils::LOG_INVENTORY, "RemoteServerDiscovery:registerSLPService:SLPOpen return code = %1%", handle.error());
  if (handle.error() != SLP_OK) {
    logResult(utils::LOG_FAILURE, "RemoteServerDiscovery:registerSLPService:SLPOpen failed with return code = %1%",
              handle.error());
    return handle.error();
  }
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery::registerSLPService:SLPOpen is successful ");

  const SLPError result =
      SLPReg(handle.get(), url.c_str(), SLP_LIFETIME_MAXIMUM, "service", attributes.c_str(), SLP_TRUE, report, nullptr);
  if (result == SLP_OK) {
    utils::formatted_log_t(utils::LOG_INVENTORY,
                           "RemoteServerDiscovery:registerSLPService:SLPRegistration is successful ");
  } else {
    logResult(utils::LOG_ERROR,
              "RemoteServerDiscovery::registerSLPService:SLPRegistration failed with return code = %1%", result);
  }
  return result;
}

SLPError deregisterFromSlp(SlpHandles& handles, const std::string& url, SLPRegReport* report) {
  SlpHandle handle(handles, SlpHandles::Use::kRegistration);
  SLPError result = handle.error();
  logResult(utils::LOG_INVENTORY, "RemoteServerDiscovery:deRegisterSLPService:SLPOpen return code = %1%", result);
  if (result == SLP_OK) {
    utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:deRegisterSLPService:SLPOpen is successful ");
    result = SLPDereg(handle.get(), url.c_str(), report, nullptr);
  }
  if (result != SLP_OK) {
    logResult(utils::LOG_ERROR, "RemoteServerDiscovery:deRegisterSLPService:SLPDereg failed with error code: %1%",
              result);
    handle.leaveOpen();
  }
  return result;
}

void logRegistrationReport(SLPError error) {
  if (error != SLP_OK) {
    logResult(utils::LOG_ERROR,
              "RemoteServerDiscovery:slpRegistrationReport:SLP (de)registration failed : error code %1%\n", error);
  } else {
    utils::formatted_log_t(utils::LOG_INVENTORY,
                           "RemoteServerDiscovery:slpRegistrationReport:SLP service is (de)registered.");
  }
}

void beginListening() {
  HeartBeat::getInstance()->invokeThread();
}

void announceArrival(const std::string& url, const std::string& attributes) {
  HeartBeat::getInstance()->performMulticast(url.c_str(), AnnounceRecord::kJoin, SLP_LIFETIME_MAXIMUM, attributes);
}

void announceService(const std::string& url, const std::string& attributes) {
  HeartBeat::getInstance()->performMulticast(url.c_str(), AnnounceRecord::kRegister, SLP_LIFETIME_MAXIMUM, attributes);
}

void announceDeparture(const std::string& url) {
  HeartBeat::getInstance()->performMulticast(url.c_str(), AnnounceRecord::kDeregister, 0, "");
}

void endListening() {
  HeartBeat::getInstance()->terminateThread();
}

}  // namespace discovery
