#pragma once

#include "heartbeat/Descriptor.h"

namespace heartbeat {

/// Says when this machine's interfaces or IPv4 addresses have changed. A while after the first of some changes its
/// alarm rings: once for a storm of them, and when whoever else follows them has heard of them, too. Safe for every
/// thread.
class NetworkWatch {
 public:
  /// False when the kernel refuses, which is logged. For one thread, before others learn of it.
  bool open();
  void close();

  bool isOpen() const { return static_cast<bool>(mAlarm); }
  // To be polled for reading; -1 when it is not open.
  int notifications() const { return mNotifications.get(); }
  int alarm() const { return mAlarm.get(); }

  /// Takes what has come and sets the alarm; does not block.
  void takeNotifications();
  /// Whether the alarm rang; silences it.
  bool takeAlarm();
  /// Lets it ring in a while, unless it is about to.
  void setAlarm();

 private:
  Descriptor mNotifications;
  Descriptor mAlarm;
};

}  // namespace heartbeat
