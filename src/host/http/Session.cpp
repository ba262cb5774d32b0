#include "host/http/Session.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <sys/socket.h>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

#include "framework/utils/Log.h"
#include "host/http/FixedAnswers.h"
#include "host/http/RequestHead.h"
#include "host/http/SessionContext.h"
#include "host/http/StreamOwner.h"
#include "host/http/StreamQueue.h"
#include "host/http/Transport.h"
#include "host/tls/TlsContext.h"

namespace host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace web = boost::beast::http;
using boost::system::error_code;
using std::chrono::steady_clock;
using tcp = asio::ip::tcp;

constexpr std::size_t kReadBytes = 4096;
/// Room beside a whole header for what follows it.
constexpr std::size_t kBufferRoom = 64 * 1024;
/// How long a client may go on sending after it was told that the connection ends. Closing at once would reset the
/// connection and could take the answer with it.
constexpr std::chrono::milliseconds kDrainTime{2000};
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr std::string_view kLastChunk = "0\r\n\r\n";

Endpoint toEndpoint(const tcp::endpoint& from) {
  auto address = from.address();
  if (address.is_v6() && address.to_v6().is_v4_mapped()) {
    address = asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
  }
  return {address.to_string(), from.port()};
}

std::string remoteAddress(const tcp::socket& socket) {
  error_code error;
  const auto endpoint = socket.remote_endpoint(error);
  return error ? "" : toEndpoint(endpoint).address;
}

/// Whether what waits to be read begins like an HTTP request. TLS begins with byte 22 (RFC 8446 section 5.1).
bool speaksPlainHttp(tcp::socket& socket) {
  char first = 0;
  if (::recv(socket.native_handle(), &first, 1, MSG_PEEK | MSG_DONTWAIT) != 1) return false;
  return (first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z');
}

Answer tooManyStreams() {
  Answer answer = failureAnswer(503, "The server follows too many clients live, try again later");
  answer.headers.emplace_back("Retry-After", "10");
  return answer;
}

Answer tooManyBodies() {
  Answer answer = failureAnswer(503, "Too many large requests are on their way, try again");
  answer.headers.emplace_back("Retry-After", "10");
  return answer;
}

template <typename Transport>
class HttpSession final : public Session, public std::enable_shared_from_this<HttpSession<Transport>> {
 public:
  HttpSession(Transport transport, SessionContext& context)
      : mContext(context),
        mTransport(std::move(transport)),
        mTimer(mTransport.socket().get_executor()),
        mBuffer(context.limits.headerBytes + kBufferRoom),
        mRemoteAddress(remoteAddress(mTransport.socket())) {
    mContext.enter(this);
  }

  ~HttpSession() override {
    abort();
    mContext.leave(this);
  }

  void start() override {
    error_code ignored;
    mTransport.socket().set_option(tcp::no_delay(true), ignored);
    if constexpr (Transport::kIsSecure) {
      awaitHandshake();
    } else {
      awaitRequest();
    }
  }

  void finish() override {
    mFinishing = true;
    if (mStage == Stage::kHandshake || mStage == Stage::kDraining) return abort();
    if (mStage == Stage::kIdle) return part();
    if (mStage != Stage::kStreaming) return;
    mQueue->close();
    pump();
  }

  void abort() override {
    if (std::exchange(mStage, Stage::kClosed) == Stage::kClosed) return;
    mContext.endWait(this);
    mContext.closed();
    releaseBody();
    error_code ignored;
    mTransport.socket().close(ignored);
    mTimer.cancel();
    endStream();
  }

 private:
  enum class Stage { kHandshake, kIdle, kHeader, kBody, kWorking, kWriting, kStreaming, kDraining, kClosed };
  using Parser = web::request_parser<web::string_body>;

  std::shared_ptr<HttpSession> self() { return this->shared_from_this(); }
  bool isClosed() const { return mStage == Stage::kClosed; }

  // ---- deadlines: each stage has one, and only the present stage's counts

  void enter(Stage stage, steady_clock::time_point deadline) {
    mStage = stage;
    mTimedOut = false;
    noteWait();
    mTimer.expires_at(deadline);
    mTimer.async_wait([self = self(), deadline](error_code error) {
      if (!error && self->mTimer.expiry() == deadline) self->expired();
    });
  }
  void enter(Stage stage, std::chrono::milliseconds time) { enter(stage, steady_clock::now() + time); }

  /// A request on its way counts from its first byte, so that one that is being sent does not give way to one that is
  /// yet to come.
  void noteWait() {
    switch (mStage) {
      case Stage::kHandshake:
      case Stage::kIdle:
      case Stage::kHeader:
      case Stage::kWriting:
      case Stage::kDraining:
        return mContext.beginWait(this);
      case Stage::kBody:
        return;
      default:
        mContext.endWait(this);
    }
  }

  void expired() {
    switch (mStage) {
      case Stage::kHandshake:
        mContext.handshakeFailed(mRemoteAddress, "the handshake took too long");
        return abort();
      case Stage::kIdle:
        return part();
      case Stage::kHeader:
      case Stage::kBody:
        mTimedOut = true;
        return mTransport.socket().cancel();
      case Stage::kWorking:
        return refuse(failureAnswer(504, "The answer took too long"));
      default:
        abort();
    }
  }

  // ---- the handshake

  void awaitHandshake() {
    enter(Stage::kHandshake, mContext.limits.headerTimeout);
    mTransport.socket().async_wait(tcp::socket::wait_read, [self = self()](error_code error) {
      if (self->mStage != Stage::kHandshake) return;
      if (error) return self->abort();
      self->shakeHands();
    });
  }

  void shakeHands() {
    if constexpr (Transport::kIsSecure) {
      if (speaksPlainHttp(mTransport.socket())) return answerPlainly();
      mTransport.handshake([self = self()](error_code error) {
        if (self->mStage != Stage::kHandshake) return;
        if (!error) return self->awaitRequest();
        if (Transport::isAlert(error)) {
          self->mContext.handshakeDeclined(self->mRemoteAddress, error.message());
        } else {
          self->mContext.handshakeFailed(self->mRemoteAddress, error.message());
        }
        self->abort();
      });
    }
  }

  void answerPlainly() {
    mContext.handshakeFailed(mRemoteAddress, "the client speaks HTTP without TLS");
    error_code error;
    const auto reachedAt = mTransport.socket().local_endpoint(error);
    if (error) return abort();
    mPiece = httpsMessage(toEndpoint(reachedAt));
    enter(Stage::kDraining, kDrainTime);
    asio::async_write(mTransport.socket(), asio::buffer(mPiece), [self = self()](error_code failure, std::size_t) {
      if (failure || self->isClosed()) return self->abort();
      self->mTransport.socket().shutdown(tcp::socket::shutdown_send, failure);
      self->discard();
    });
  }

  // ---- reading

  void awaitRequest() {
    if (mFinishing) return drain();
    mTimedOut = false;
    releaseBody();
    mSerializer.reset();
    mResponse.reset();
    mParser.emplace();
    mParser->header_limit(mContext.limits.headerBytes);
    mParser->body_limit(mContext.limits.bodyBytes);
    if (mBuffer.size() > 0) return readHeader();
    enter(Stage::kIdle, mContext.limits.idleTimeout);
    mTransport.stream().async_read_some(mBuffer.prepare(kReadBytes),
                                        [self = self()](error_code error, std::size_t bytes) {
                                          if (self->mStage != Stage::kIdle) return;
                                          if (error) return self->abort();
                                          self->mBuffer.commit(bytes);
                                          self->readHeader();
                                        });
  }

  void readHeader() {
    enter(Stage::kHeader, mContext.limits.headerTimeout);
    web::async_read_header(mTransport.stream(), mBuffer, *mParser, [self = self()](error_code error, std::size_t) {
      if (error) return self->readFailed(error);
      self->headerRead();
    });
  }

  void headerRead() {
    if (isClosed()) return;
    enter(Stage::kBody, mContext.limits.requestTimeout);
    const auto& header = mParser->get();
    if (auto refusal = refusalOf(header)) return refuse(std::move(*refusal));
    // Now, because the parser puts what follows the body (the trailer) among the header's fields (RFC 9110 section
    // 6.5.1 forbids to believe it).
    mRequest = readRequest(header, mRemoteAddress, Transport::kIsSecure);
    if (!reserveBody()) return refuse(tooManyBodies());
    const auto expect = header.find(web::field::expect);
    if (expect == header.end()) return readBody();
    if (!beast::iequals(expect->value(), "100-continue")) {
      return refuse(failureAnswer(417, "The expectation is not known"));
    }
    asio::async_write(mTransport.stream(), asio::buffer(kContinue), [self = self()](error_code error, std::size_t) {
      if (error || self->isClosed()) return self->readFailed(error);
      self->readBody();
    });
  }

  /// One whose length is not told may be as long as any.
  bool reserveBody() {
    const auto length = mParser->content_length();
    mReserved = mParser->chunked() ? mContext.limits.bodyBytes : static_cast<std::size_t>(length.value_or(0));
    if (mContext.reserveBody(mReserved)) return true;
    mReserved = 0;
    return false;
  }

  void releaseBody() { mContext.releaseBody(std::exchange(mReserved, 0)); }

  void readBody() {
    web::async_read(mTransport.stream(), mBuffer, *mParser, [self = self()](error_code error, std::size_t) {
      if (error) return self->readFailed(error);
      self->work();
    });
  }

  void readFailed(error_code error) {
    if (isClosed()) return;
    if (mTimedOut) return refuse(failureAnswer(408, "The request took too long"));
    auto answer = answerTo(error);
    if (!answer) return abort();
    refuse(std::move(*answer));
  }

  // ---- answering

  void work() {
    if (isClosed()) return;
    enter(Stage::kWorking, mTimer.expiry());
    auto done = [weak = this->weak_from_this(), io = mContext.io, number = ++mRequests](Answer answer) {
      StreamOwner stream(answer.stream);
      asio::post(*io, [weak, number, answer = std::move(answer), stream = std::move(stream)]() mutable {
        const auto self = weak.lock();
        if (self) self->answered(number, std::move(answer), std::move(stream));
        stream.end();
      });
    };
    mRequest.body = std::move(mParser->get().body());
    mContext.service.serve(std::exchange(mRequest, {}), std::move(done));
  }

  void answered(unsigned long number, Answer answer, StreamOwner stream) {
    if (mStage != Stage::kWorking || number != mRequests) return;
    if (stream && !mContext.enterStream()) {
      stream.end();
      return write(tooManyStreams());
    }
    mStream = std::move(stream);
    write(std::move(answer));
  }

  /// Answers what cannot be served and ends the connection, because what follows may be anything.
  void refuse(Answer answer) {
    mContext.requestRefused();
    mContext.logRefusal(mRemoteAddress, std::to_string(answer.status) + " " + printable(mParser->get().target()));
    answer.close = true;
    write(std::move(answer));
  }

  void write(Answer answer) {
    const auto& request = mParser->get();
    const bool isStream = answer.stream != nullptr;
    const bool headerOnly = isStream || request.method() == web::verb::head;
    const bool close = isStream || answer.close || mFinishing || !mParser->is_done() || !request.keep_alive();
    logAnswer(answer);
    mResponse.emplace(makeResponse(std::move(answer), request.version() == 10 ? 10 : 11, Transport::kIsSecure, close));
    enter(Stage::kWriting, mContext.limits.writeTimeout);
    mSerializer.emplace(*mResponse);
    auto written = [self = self(), close](error_code error, std::size_t) {
      if (error || self->isClosed()) return self->abort();
      self->answerWritten(close);
    };
    if (headerOnly) {
      mSerializer->split(true);
      web::async_write_header(mTransport.stream(), *mSerializer, std::move(written));
    } else {
      web::async_write(mTransport.stream(), *mSerializer, std::move(written));
    }
  }

  void answerWritten(bool close) {
    if (mStream && mParser->get().method() != web::verb::head) return beginStream();
    endStream();
    close ? drain() : awaitRequest();
  }

  void logAnswer(const Answer& answer) const {
    if (!utils::logging::enabled(utils::LOG_DETAIL)) return;
    const auto& request = mParser->get();
    utils::formatted_log_t(utils::LOG_DETAIL, "Session:write:%1% %2% %3% %4% bytes:%5%") % mRemoteAddress %
        request.method_string() % printable(request.target()) % answer.status % answer.body.size();
  }

  // ---- an answer that goes on

  void beginStream() {
    enter(Stage::kStreaming, steady_clock::time_point::max());
    mQueue = std::make_shared<StreamQueue>([weak = this->weak_from_this(), io = mContext.io] {
      asio::post(*io, [weak] {
        if (const auto self = weak.lock()) self->pump();
      });
    });
    mStream->begin([queue = mQueue](std::string piece) { return queue->push(std::move(piece)); });
    if (mFinishing) mQueue->close();
    watch();
    pump();
  }

  /// Notices a client that leaves. What it sends meanwhile is dropped: the connection ends with the answer.
  void watch() {
    mBuffer.clear();
    mTransport.stream().async_read_some(mBuffer.prepare(kReadBytes), [self = self()](error_code error, std::size_t) {
      if (self->mStage != Stage::kStreaming) return;
      if (error) return self->abort();
      self->watch();
    });
  }

  /// Writes what lies here, one batch after the other, each with a deadline of its own.
  void pump() {
    if (mStage != Stage::kStreaming) return;
    if (mQueue->hasOverflowed()) {
      mContext.logRefusal(mRemoteAddress, "leaves too much of its stream lying");
      return abort();
    }
    if (mIsPumping) return;
    auto piece = mQueue->take();
    if (!piece) return closeStream();
    mPiece = std::move(*piece);
    if (mPiece.empty()) {
      mTimer.expires_at(steady_clock::time_point::max());
      return;
    }
    if (mResponse->chunked()) mPiece = chunkOf(mPiece);
    mIsPumping = true;
    enter(Stage::kStreaming, mContext.limits.writeTimeout);
    asio::async_write(mTransport.stream(), asio::buffer(mPiece), [self = self()](error_code error, std::size_t) {
      self->mIsPumping = false;
      if (error || self->isClosed()) return self->abort();
      self->pump();
    });
  }

  static std::string chunkOf(const std::string& text) {
    std::array<char, 20> size{};
    std::snprintf(size.data(), size.size(), "%zx\r\n", text.size());
    return size.data() + text + "\r\n";
  }

  void closeStream() {
    endStream();
    mPiece = mResponse->chunked() ? kLastChunk : "";
    enter(Stage::kWriting, mContext.limits.writeTimeout);
    error_code ignored;
    mTransport.socket().cancel(ignored);  // the watch, in whose way nothing may be read from now on
    asio::async_write(mTransport.stream(), asio::buffer(mPiece), [self = self()](error_code error, std::size_t) {
      if (error || self->isClosed()) return self->abort();
      self->drain();
    });
  }

  void endStream() {
    if (mQueue) mQueue->close();
    if (!mStream) return;
    mContext.leaveStream();
    mStream.end();
  }

  // ---- the end

  /// Ends a connection on which nothing is under way.
  void part() {
    if constexpr (Transport::kIsSecure) {
      enter(Stage::kDraining, kDrainTime);
      mTransport.sayGoodbye([self = self()](error_code) { self->abort(); });
    } else {
      abort();
    }
  }

  /// Ends the connection so that the client can still read the answer.
  void drain() {
    enter(Stage::kDraining, kDrainTime);
    mTransport.sayGoodbye([self = self()](error_code error) {
      if (error || self->isClosed()) return self->abort();
      self->discard();
    });
  }

  void discard() {
    mBuffer.clear();
    mTransport.socket().async_read_some(mBuffer.prepare(kReadBytes), [self = self()](error_code error, std::size_t) {
      if (error || self->isClosed()) return self->abort();
      self->discard();
    });
  }

  SessionContext& mContext;
  Transport mTransport;
  asio::steady_timer mTimer;
  beast::flat_buffer mBuffer;
  const std::string mRemoteAddress;
  Stage mStage = Stage::kIdle;
  bool mFinishing = false;
  bool mTimedOut = false;
  unsigned long mRequests = 0;
  std::optional<Parser> mParser;
  ClientRequest mRequest;     ///< while its body is read
  std::size_t mReserved = 0;  ///< for the body, until the request is answered
  std::optional<ResponseMessage> mResponse;
  std::optional<web::response_serializer<web::string_body>> mSerializer;
  StreamOwner mStream;
  std::shared_ptr<StreamQueue> mQueue;
  std::string mPiece;  ///< on its way
  bool mIsPumping = false;
};

}  // namespace

std::shared_ptr<Session> makeSession(tcp::socket socket, SessionContext& context) {
  if (!context.tls) return std::make_shared<HttpSession<PlainTransport>>(PlainTransport(std::move(socket)), context);
  TlsTransport transport(std::move(socket), context.tls->current());
  return std::make_shared<HttpSession<TlsTransport>>(std::move(transport), context);
}

}  // namespace host
