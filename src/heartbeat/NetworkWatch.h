#pragma once

#include <set>

#include "heartbeat/Descriptor.h"

namespace heartbeat {

/// Says when this machine's interfaces or IPv4 addresses have changed. A while after the first of some changes its
/// alarm rings: once for a storm of them, and when whoever else follows them has heard of them, too. Safe for every
/// thread.
class NetworkWatch {
 public:
  struct Changes {
    std::set<unsigned int> lostAddress;  ///< indexes of interfaces
    bool isIncomplete = false;           ///< there were more than the kernel keeps
  };

  /// False when the kernel refuses, which is logged.
  bool open();

  // To be polled for reading; -1 when it is not open.
  int notifications() const { return mNotifications.get(); }
  int alarm() const { return mAlarm.get(); }

  /// What has come; does not block. Sets the alarm.
  Changes takeNotifications();
  /// Whether the alarm rang; silences it.
  bool takeAlarm();

 private:
  void setAlarm();

  Descriptor mNotifications;
  Descriptor mAlarm;
};

}  // namespace heartbeat
