// A shared object with the SLP library inside, as a plug-in has it.

#include <string>

#include "Support.h"
#include "slp/include/slp.h"

/// Registers a service, so that the agent's thread runs. SLP_OK when it does.
extern "C" __attribute__((visibility("default"))) int registerService() {
  SLPSetProperty("net.slp.port", std::to_string(slp::api::freePort()).c_str());
  SLPSetProperty("net.slp.interfaces", "lo");
  SLPHandle handle = nullptr;
  const SLPError opened = SLPOpen("en", SLP_FALSE, &handle);
  if (opened != SLP_OK) return opened;
  slp::api::Recorder recorder;
  return SLPReg(handle, "service:a://h", 60, "", "", SLP_TRUE, slp::api::recordReport, &recorder);
}
