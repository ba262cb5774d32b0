#pragma once

#include <memory>
#include <mutex>

#include "heartbeat/Descriptor.h"
#include "heartbeat/GroupMemberships.h"

namespace heartbeat {

/// The socket that hears the multicast group. Safe for every thread.
class AnnounceSocket {
 public:
  /// Null when there is no socket to be had, which is logged.
  static std::unique_ptr<AnnounceSocket> open();

  /// Prepares a new IPv4 datagram socket. What fails is logged, and the rest goes on.
  explicit AnnounceSocket(Descriptor socket);
  AnnounceSocket(const AnnounceSocket&) = delete;
  AnnounceSocket& operator=(const AnnounceSocket&) = delete;

  int descriptor() const { return mSocket.get(); }

  /// Brings the memberships up to date and tries again to bind if that failed before.
  void renew();

 private:
  void bindToPort();

  const Descriptor mSocket;
  GroupMemberships mMemberships;
  std::mutex mBinding;  ///< guards what follows
  bool mIsBound = false;
};

}  // namespace heartbeat
