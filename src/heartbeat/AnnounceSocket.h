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

  /// Prepares a new IPv4 datagram socket, which is in the group by the routes alone so far. What fails is logged, and
  /// the rest goes on.
  explicit AnnounceSocket(Descriptor socket);
  AnnounceSocket(const AnnounceSocket&) = delete;
  AnnounceSocket& operator=(const AnnounceSocket&) = delete;

  int descriptor() const { return mSocket.get(); }

  /// Joins the group on the interfaces that there are now. False when the system did not tell them: to be called again.
  bool followInterfaces() { return mMemberships.followInterfaces(); }
  /// The same, and tries again to bind if that failed before.
  bool renew();

 private:
  void bindToPort();

  const Descriptor mSocket;
  GroupMemberships mMemberships;
  std::mutex mBinding;  ///< guards what follows
  bool mIsBound = false;
};

}  // namespace heartbeat
