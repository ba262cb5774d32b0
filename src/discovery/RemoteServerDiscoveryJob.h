#pragma once

#include <slp.h>
#include <string>

#include "framework/utils/ThreadPool.h"

namespace discovery {

/// Asks SLP for the attributes of one service and has the server that they describe verified and filed. Made for one
/// run on a thread of the pool, which owns it.
class RemoteServerDiscoveryJob : public utils::ThreadPoolJob {
 public:
  explicit RemoteServerDiscoveryJob(std::string serviceUrl);
  ~RemoteServerDiscoveryJob() override;

  void execute() override;

  /// Always 1; failures are logged.
  int getAttributes(const char* serviceUrl);
  /// Takes the attributes of the service that the calling thread asks for; what is no `SLP_OK` is logged.
  SLPBoolean slpAttributeCallback(SLPHandle handle, const char* attributeList, SLPError errorCode);

 private:
  SLPHandle mHandle;  ///< the engine's when the job was made; the job opens its own
  std::string strServerAttributeURL;
};

}  // namespace discovery
