#include "framework/utils/System.h"

#include <atomic>

#include "framework/utils/LinuxSystem.h"

namespace utils {
namespace {

std::atomic<System*> gSystem = nullptr;

/// Never destroyed, so that static destructors may still ask it.
System* machine() {
  static System* const system = new LinuxSystem;
  return system;
}

}  // namespace

System* System::get_instance() {
  System* const system = gSystem;
  return system != nullptr ? system : machine();
}

System* System::set_instance(System* system) {
  return gSystem.exchange(system);
}

System::~System() = default;

}  // namespace utils
