#include "discovery/SlpTraffic.h"

#ifndef SD_SYSTEM_SLP

#include <slp.h>

#include "framework/utils/Observer.h"

namespace discovery {
namespace {

const char* counterOf(SLPMessageFate fate) {
  switch (fate) {
    case SLP_MESSAGE_SENT:
      return "slp_messages_sent";
    case SLP_MESSAGE_RECEIVED:
      return "slp_messages_received";
    case SLP_MESSAGE_DROPPED:
      break;
  }
  return "slp_messages_dropped";
}

void countMessage(SLPMessageFate fate, const char* kind, void*) {
  utils::observer::counted(counterOf(fate), kind);
}

}  // namespace

SlpTraffic::SlpTraffic() {
  SLPSetCounter(countMessage, nullptr);
}

SlpTraffic::~SlpTraffic() {
  SLPSetCounter(nullptr, nullptr);
}

}  // namespace discovery

#else

namespace discovery {

SlpTraffic::SlpTraffic() = default;
SlpTraffic::~SlpTraffic() = default;

}  // namespace discovery

#endif
