#include "FakeDirectoryAgent.h"

namespace slp::agent {

void FakeDirectoryAgent::readDatagrams() {
  for (const net::Datagram& datagram : mUdp.receive()) {
    if (mLoseHalf && mDatagrams++ % 2 == 0) continue;
    net::Outgoing out;
    out.bytes = answer(datagram.bytes);
    out.to = datagram.from;
    if (!out.bytes.empty()) mUdp.send(out);
  }
}

void FakeDirectoryAgent::accept() {
  net::Endpoint from;
  net::Descriptor socket = net::acceptTcp(mListener.get(), from);
  if (!socket) return;
  const int fd = socket.get();
  mStreams.insert_or_assign(fd, net::MessageStream(std::move(socket), limits::kMaxMessage));
  mLoop.watch(fd, [this, fd] { readStream(fd); });
}

void FakeDirectoryAgent::readStream(int fd) {
  auto& stream = mStreams.at(fd);
  stream.ready();
  while (const auto message = stream.next()) {
    ++mOverTcp;
    const std::string reply = answer(*message);
    if (!reply.empty()) stream.send(reply);
  }
  if (!stream.failed()) return;
  mLoop.forget(fd);
  mStreams.erase(fd);
}

std::string FakeDirectoryAgent::answer(std::span<const std::byte> bytes) {
  ++mHeard;
  if (mSilent) return {};
  const auto decoded = wire::decode(bytes);
  const auto* message = std::get_if<wire::Message>(&decoded);
  if (message == nullptr) return {};
  if (std::holds_alternative<wire::ServiceRequest>(message->body)) {
    ++mQuestions;
    return advert(message->header.xid);
  }
  wire::Message reply;
  reply.header.xid = message->header.xid;
  reply.body = wire::ServiceAcknowledge{take(*message)};
  return encoded(reply);
}

wire::ErrorCode FakeDirectoryAgent::take(const wire::Message& message) {
  const std::lock_guard lock(mMutex);
  if (const auto* registration = std::get_if<wire::ServiceRegistration>(&message.body)) {
    ++mRegistrations;
    if (mError != wire::ErrorCode::kOk) return mError;
    mLifetime = registration->entry.lifetime;
    mAttributes.insert_or_assign(std::string(registration->entry.url), std::string(registration->attributes));
  } else if (const auto* withdrawal = std::get_if<wire::ServiceDeregistration>(&message.body)) {
    if (mAttributes.erase(std::string(withdrawal->entry.url)) == 0) return wire::ErrorCode::kInvalidRegistration;
  }
  return wire::ErrorCode::kOk;
}

}  // namespace slp::agent
