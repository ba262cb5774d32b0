#include "host/http/Front.h"

#include <exception>
#include <pthread.h>
#include <thread>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include "framework/utils/Log.h"
#include "host/http/Listener.h"
#include "host/http/Session.h"

namespace host {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using tcp = asio::ip::tcp;

/// After a failed accept, which mostly means that the process has no file descriptor left.
constexpr std::chrono::milliseconds kAcceptPause{100};

/// One listening socket and the pause after a failure.
struct Listener {
  explicit Listener(tcp::acceptor opened) : acceptor(std::move(opened)), pause(acceptor.get_executor()) {}
  tcp::acceptor acceptor;
  asio::steady_timer pause;
};

/// The answer to a connection too many, as it goes over the wire.
std::string busyMessage() {
  const Answer answer = failureAnswer(503, "The server has too many connections, try again");
  return "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\nRetry-After: 1\r\n"
         "Connection: close\r\nContent-Length: " +
         std::to_string(answer.body.size()) + "\r\n\r\n" + answer.body;
}

}  // namespace

class Front::Impl {
 public:
  Impl(const Limits& limits, Service& service)
      : mIo(std::make_shared<asio::io_context>(1)),
        mContext{mIo, limits, service, {}, {}, {}},
        mWork(mIo->get_executor()),
        mGrace(*mIo) {
    mContext.whenEmpty = [this] { mGrace.cancel(); };
  }

  Result<std::vector<Endpoint>> listen(const std::vector<ListenAddress>& addresses) {
    auto acceptors = openListeners(*mIo, addresses);
    if (!acceptors) return Failure{acceptors.error()};
    std::vector<Endpoint> endpoints;
    for (tcp::acceptor& acceptor : *acceptors) {
      endpoints.push_back(endpointOf(acceptor));
      mListeners.push_back(std::make_unique<Listener>(std::move(acceptor)));
    }
    return endpoints;
  }

  void start() {
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

  void accept(Listener& listener) {
    listener.acceptor.async_accept([this, &listener](error_code error, tcp::socket socket) {
      if (!listener.acceptor.is_open()) return;
      if (error) return acceptLater(listener, error);
      take(std::move(socket));
      accept(listener);
    });
  }

  void acceptLater(Listener& listener, error_code error) {
    mContext.logRefusal("-", "cannot accept: " + error.message());
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait([this, &listener](error_code cancelled) {
      if (!cancelled && listener.acceptor.is_open()) accept(listener);
    });
  }

  void take(tcp::socket socket) {
    if (mContext.sessions.size() < mContext.limits.connections)
      return makeSession(std::move(socket), mContext)->start();
    mContext.logRefusal("-", "503 too many connections");
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
  asio::steady_timer mGrace;
  const std::string mBusy = busyMessage();
  std::vector<std::unique_ptr<Listener>> mListeners;
  std::thread mThread;
};

Front::Front(const Limits& limits, Service& service) : mImpl(std::make_unique<Impl>(limits, service)) {}

Front::~Front() {
  mImpl->stop(std::chrono::milliseconds(0));
}

Result<std::vector<Endpoint>> Front::listen(const std::vector<ListenAddress>& addresses) {
  return mImpl->listen(addresses);
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
