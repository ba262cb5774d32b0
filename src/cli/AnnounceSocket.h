#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/AnnounceInterfaces.h"
#include "cli/AnnounceView.h"
#include "cli/Result.h"
#include "heartbeat/AnnounceRecord.h"

namespace cli {

/// Hears what servers announce on some interfaces, beside others that listen on the same machine. For one thread.
class AnnounceSocket {
 public:
  /// Joins the group on each of them; fails when that works on none.
  static Result<std::unique_ptr<AnnounceSocket>> open(const std::vector<AnnounceInterface>& interfaces,
                                                      std::uint16_t port = heartbeat::kAnnouncePort);
  ~AnnounceSocket();
  AnnounceSocket(const AnnounceSocket&) = delete;
  AnnounceSocket& operator=(const AnnounceSocket&) = delete;

  /// To wait on until there is something to receive.
  int descriptor() const { return mDescriptor; }
  /// One datagram, without waiting; none when there is none. It is good until the next call.
  std::optional<AnnounceDatagram> receive();

  /// Joins on each of them where it has not yet, or where it fell out because the interface had gone; the names of
  /// those. What is refused may be tried again.
  std::vector<std::string> follow(const std::vector<AnnounceInterface>& interfaces) const;

  /// Interfaces that are heard, as "eth0".
  const std::vector<std::string>& joined() const { return mJoined; }
  /// Those that are not, as "eth0: No such device".
  const std::vector<std::string>& refused() const { return mRefused; }

 private:
  explicit AnnounceSocket(int descriptor) : mDescriptor(descriptor) {}
  /// False, with errno set, when the system refuses.
  bool bindTo(std::uint16_t port) const;
  void join(const AnnounceInterface& interface);

  const int mDescriptor;
  heartbeat::AnnounceBytes mBuffer{};
  std::vector<std::string> mJoined;
  std::vector<std::string> mRefused;
};

}  // namespace cli
