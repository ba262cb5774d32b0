#include "heartbeat/HeartBeat.h"

#include <atomic>

#include "heartbeat/HeartBeatWindows.h"

namespace heartbeat {
namespace {

std::atomic<HeartBeat*> gInstance = nullptr;

}  // namespace

HeartBeat* HeartBeat::getInstance() {
  HeartBeat* const instance = gInstance;
  return instance != nullptr ? instance : discovery::HeartBeatWindows::getInstance();
}

HeartBeat* HeartBeat::setInstance(HeartBeat* instance) {
  return gInstance.exchange(instance);
}

}  // namespace heartbeat
