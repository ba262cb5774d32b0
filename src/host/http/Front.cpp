#include "host/http/Front.h"

#include <exception>
#include <pthread.h>
#include <thread>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include "framework/utils/Log.h"
#include "host/http/FixedAnswers.h"
#include "host/http/Listener.h"
#include "host/http/Session.h"
#include "host/http/SessionContext.h"
#include "host/tls/TlsContext.h"

namespace host {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using tcp = asio::ip::tcp;

/// After a failed accept, which mostly means that the process has no file descriptor left.
constexpr std::chrono::milliseconds kAcceptPause{100};
constexpr std::chrono::seconds kHeartbeat{1};

/// One listening socket and the pause after a failure.
struct Listener {
  explicit Listener(tcp::acceptor opened) : acceptor(std::move(opened)), pause(acceptor.get_executor()) {}
  tcp::acceptor acceptor;
  asio::steady_timer pause;
};

}  // namespace

class Front::Impl {
 public:
  Impl(const Limits& limits, Service& service, std::shared_ptr<TlsContext> tls)
      : mIo(std::make_shared<asio::io_context>(1)),
        mContext(mIo, limits, service, std::move(tls)),
        mWork(mIo->get_executor()),
        mHeartbeat(*mIo),
        mGrace(*mIo) {
    mContext.whenEmpty = [this] { mGrace.cancel(); };
  }

  Result<std::vector<Endpoint>> listen(const std::vector<ListenAddress>& addresses) {
    auto acceptors = openListeners(*mIo, addresses);
    if (!acceptors) return Failure{acceptors.error()};
    std::vector<Endpoint> endpoints;
    for (tcp::acceptor& acceptor : *acceptors) {
      endpoints.push_back(endpointOf(acceptor));
      if (mContext.tls) endpoints.back().scheme = "https";
      mListeners.push_back(std::make_unique<Listener>(std::move(acceptor)));
    }
    return endpoints;
  }

  void onHeartbeat(std::function<void()> call) { mOnHeartbeat = std::move(call); }

  FrontCounts counts() const { return mContext.counts(); }

  void start() {
    beat();
    for (const auto& listener : mListeners) {
      accept(*listener);
    }
    mThread = std::thread([this] { run(); });
    pthread_setname_np(mThread.native_handle(), "kvt-front");
  }

  void stopAccepting() {
    asio::post(*mIo, [this] { endGently(); });
  }

  /// The loop ends by itself once nothing is pending, so whatever holds a session has gone then.
  void stop(std::chrono::milliseconds grace) {
    if (!mThread.joinable()) return;
    asio::post(*mIo, [this, grace] {
      endGently();
      mStopping = true;
      mHeartbeat.cancel();
      mWork.reset();
      if (mContext.sessions.empty()) return;
      mGrace.expires_after(grace);
      mGrace.async_wait([this](error_code) { abortAll(); });
    });
    mThread.join();
  }

 private:
  /// What a connection throws, which is mostly a lack of memory, must not end the others.
  void run() {
    while (true) {
      try {
        mIo->run();
        return;
      } catch (const std::exception& error) {
        utils::formatted_log_t(utils::LOG_ERROR, "Front:run: a connection failed:%1%") % error.what();
      }
    }
  }

  /// Also what has to be looked at now and then.
  void beat() {
    if (mStopping) return;
    if (mOnHeartbeat) mOnHeartbeat();
    if (mContext.tls) mContext.tls->watchTheEnd(std::chrono::system_clock::now());
    mHeartbeat.expires_after(kHeartbeat);
    mHeartbeat.async_wait([this](error_code cancelled) {
      if (!cancelled) beat();
    });
  }

  void accept(Listener& listener) {
    listener.acceptor.async_accept([this, &listener](error_code error, tcp::socket socket) {
      if (!listener.acceptor.is_open()) return;
      if (error) return acceptLater(listener, error);
      accept(listener);
      take(std::move(socket));
    });
  }

  /// What may fail for a lack of memory comes when the listener is already to be heard again; so it is above.
  void acceptLater(Listener& listener, error_code error) {
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait([this, &listener](error_code cancelled) {
      if (!cancelled && listener.acceptor.is_open()) accept(listener);
    });
    mContext.logRefusal("-", "cannot accept: " + error.message());
  }

  /// What one connection throws must not keep the listener from the next.
  void take(tcp::socket socket) {
    try {
      if (mContext.isFull() && !mContext.makeRoom()) return refuse(std::move(socket));
      makeSession(std::move(socket), mContext)->start();
    } catch (const std::exception& error) {
      mContext.logRefusal("-", std::string("cannot be served: ") + error.what());
    }
  }

  /// Somebody who speaks TLS could not read an answer yet.
  void refuse(tcp::socket socket) {
    mContext.refused();
    mContext.logRefusal("-", "503 too many connections");
    if (mContext.tls) return;
    error_code ignored;
    socket.non_blocking(true, ignored);
    socket.write_some(asio::buffer(mBusy), ignored);
    socket.shutdown(tcp::socket::shutdown_both, ignored);
  }

  void endGently() {
    error_code ignored;
    for (const auto& listener : mListeners) {
      listener->acceptor.close(ignored);
      listener->pause.cancel();
    }
    for (Session* session : mContext.sessions) {
      session->finish();
    }
  }

  void abortAll() {
    for (Session* session : mContext.sessions) {
      session->abort();
    }
  }

  const std::shared_ptr<asio::io_context> mIo;
  SessionContext mContext;
  asio::executor_work_guard<asio::io_context::executor_type> mWork;
  asio::steady_timer mHeartbeat;
  asio::steady_timer mGrace;
  std::function<void()> mOnHeartbeat;
  bool mStopping = false;
  const std::string mBusy = busyMessage();
  std::vector<std::unique_ptr<Listener>> mListeners;
  std::thread mThread;
};

Front::Front(const Limits& limits, Service& service, std::shared_ptr<TlsContext> tls)
    : mImpl(std::make_unique<Impl>(limits, service, std::move(tls))) {}

Front::~Front() {
  mImpl->stop(std::chrono::milliseconds(0));
}

Result<std::vector<Endpoint>> Front::listen(const std::vector<ListenAddress>& addresses) {
  return mImpl->listen(addresses);
}

void Front::onHeartbeat(std::function<void()> call) {
  mImpl->onHeartbeat(std::move(call));
}

FrontCounts Front::counts() const {
  return mImpl->counts();
}

void Front::start() {
  mImpl->start();
}

void Front::stopAccepting() {
  mImpl->stopAccepting();
}

void Front::stop(std::chrono::milliseconds grace) {
  mImpl->stop(grace);
}

}  // namespace host
