#pragma once

#include <mutex>
#include <set>
#include <string>

namespace heartbeat {

/// The interfaces on which a socket is in the multicast group. Failures are logged; what failed is tried again by the
/// next call. Safe for every thread.
class GroupMemberships {
 public:
  /// The socket stays its owner's and must outlive the object.
  explicit GroupMemberships(int socket) : mSocket(socket) {}
  GroupMemberships(const GroupMemberships&) = delete;
  GroupMemberships& operator=(const GroupMemberships&) = delete;

  /// Joins on the interface that the routes name for the group; there may be none.
  void joinByRoute();
  /// Joins on every interface of this machine that has an IPv4 address, and leaves those that are gone. False when the
  /// system did not tell which there are; then nothing changes.
  bool followInterfaces();

 private:
  // With the mutex held.
  void join(unsigned int interface, const std::string& name);
  void leave(unsigned int interface);

  const int mSocket;
  std::mutex mMutex;               ///< guards what follows
  std::set<unsigned int> mJoined;  ///< indexes of interfaces
};

}  // namespace heartbeat
