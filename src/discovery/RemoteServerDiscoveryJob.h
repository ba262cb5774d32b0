#pragma once

#include <slp.h>
#include <string>

#include "discovery/JobCount.h"
#include "discovery/JobThreadUrls.h"
#include "framework/utils/ThreadPool.h"

namespace discovery {

/// Asks SLP for the attributes of one service and has the server that they describe verified and filed. Made for one
/// run on a thread of the pool, which owns it. Failures are logged and end the job; the next pass asks again.
class RemoteServerDiscoveryJob : public utils::ThreadPoolJob {
 public:
  explicit RemoteServerDiscoveryJob(std::string serviceUrl);
  ~RemoteServerDiscoveryJob() override;

  void execute() override;

  /// Always 1; failures are logged. Blocks until SLP has answered, or the search handles are cancelled.
  int getAttributes(const char* serviceUrl);
  /// Takes the attributes of the service that the calling thread asks for; what is no `SLP_OK`, the end of the answers
  /// included, is logged. Always `SLP_TRUE`.
  static SLPBoolean slpAttributeCallback(SLPHandle handle, const char* attributeList, SLPError errorCode);

  /// Lives from the loading of the library to its unloading.
  static JobThreadUrls mJobThreadUrls;
  static JobCount mCount;

 private:
  [[maybe_unused]] SLPHandle mHandle;  ///< the engine's when the job was made; the job opens its own
  std::string strServerAttributeURL;
  bool mHasBegun = false;
};

}  // namespace discovery
