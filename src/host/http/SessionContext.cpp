#include "host/http/SessionContext.h"

#include <algorithm>
#include <utility>

#include "framework/utils/Log.h"
#include "host/http/Session.h"

namespace host {
namespace {

/// Streams are held for hours, so they must leave room for those who ask and go.
constexpr unsigned int kConnectionsPerStream = 4;

}  // namespace

SessionContext::SessionContext(std::shared_ptr<boost::asio::io_context> ioContext, const Limits& bounds,
                               Service& handler, std::shared_ptr<TlsContext> tlsContext)
    : io(std::move(ioContext)), limits(bounds), service(handler), tls(std::move(tlsContext)) {}

void SessionContext::enter(Session* session) {
  sessions.insert(session);
  ++mCounts.connections;
}

void SessionContext::leave(Session* session) {
  sessions.erase(session);
  if (sessions.empty() && whenEmpty) whenEmpty();
}

void SessionContext::beginWait(Session* session) {
  endWait(session);
  session->turn = ++mLastTurn;
  mWaiting.emplace(session->turn, session);
}

void SessionContext::endWait(Session* session) {
  if (session->turn != 0) mWaiting.erase(std::exchange(session->turn, 0));
}

bool SessionContext::makeRoom() {
  if (mWaiting.empty()) return false;
  ++mCounts.evicted;
  logRefusal("-", "too many connections: the one that has waited longest for its client is closed");
  mWaiting.begin()->second->abort();
  return true;
}

bool SessionContext::enterStream() {
  if (mCounts.streams >= std::max(1U, limits.connections / kConnectionsPerStream)) return false;
  ++mCounts.streams;
  return true;
}

bool SessionContext::reserveBody(std::size_t bytes) {
  if (bytes <= kFreeBodyBytes) return true;
  if (bytes > kMostBodyBytes - mBodyBytes) return false;
  mBodyBytes += bytes;
  return true;
}

void SessionContext::releaseBody(std::size_t bytes) {
  if (bytes > kFreeBodyBytes) mBodyBytes -= bytes;
}

void SessionContext::logRefusal(const std::string& remoteAddress, const std::string& what) {
  const auto leftOut = mRefusals.pass(LogLimiter::Clock::now());
  if (!leftOut) return;
  utils::formatted_log_t(utils::LOG_FAILURE, "Front:refused a request of %1%:%2% (%3% records left out before)") %
      remoteAddress % what % *leftOut;
}

void SessionContext::handshakeFailed(const std::string& remoteAddress, const std::string& what) {
  ++mCounts.failedHandshakes;
  logRefusal(remoteAddress, "TLS: " + what);
}

void SessionContext::handshakeDeclined(const std::string& remoteAddress, const std::string& what) {
  ++mCounts.failedHandshakes;
  if (!utils::logging::enabled(utils::LOG_DETAIL)) return;
  utils::formatted_log_t(utils::LOG_DETAIL, "Front:%1% has ended the handshake:%2%") % remoteAddress % what;
}

FrontCounts SessionContext::counts() const {
  return {mCounts.connections, mCounts.streams,          mCounts.evicted,
          mCounts.refused,     mCounts.failedHandshakes, mCounts.refusedRequests};
}

}  // namespace host
