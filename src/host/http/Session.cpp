#include "host/http/Session.h"

#include <array>
#include <chrono>
#include <ctime>
#include <optional>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

#include "framework/utils/Log.h"

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
constexpr std::size_t kMaxLoggedTarget = 200;
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

std::string httpDate() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 40> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &utc);
  return {text.data(), length};
}

std::string addressOf(const tcp::socket& socket) {
  error_code error;
  auto address = socket.remote_endpoint(error).address();
  if (error) return "";
  if (address.is_v6() && address.to_v6().is_v4_mapped()) {
    address = asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
  }
  return address.to_string();
}

std::string printable(std::string_view text) {
  std::string result(text.substr(0, kMaxLoggedTarget));
  for (char& c : result) {
    if (c < 0x20 || c == 0x7F) c = '?';
  }
  return result;
}

/// The answer to what the parser would not take; nothing when the connection itself failed.
std::optional<Answer> answerTo(error_code error) {
  if (error == web::error::body_limit) return failureAnswer(413, "The body is too large");
  if (error == web::error::header_limit || error == web::error::buffer_overflow) {
    return failureAnswer(431, "The header is too large");
  }
  const bool ended = error == web::error::end_of_stream || error == web::error::partial_message;
  if (ended || error.category() != make_error_code(web::error::bad_method).category()) return std::nullopt;
  return failureAnswer(400, "The request is malformed: " + error.message());
}

class HttpSession : public Session, public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(tcp::socket socket, SessionContext& context)
      : mContext(context),
        mSocket(std::move(socket)),
        mTimer(mSocket.get_executor()),
        mBuffer(context.limits.headerBytes + kBufferRoom),
        mRemoteAddress(addressOf(mSocket)) {
    mContext.enter(this);
  }

  ~HttpSession() override { mContext.leave(this); }

  void start() override {
    error_code ignored;
    mSocket.set_option(tcp::no_delay(true), ignored);
    awaitRequest();
  }

  void finish() override {
    mFinishing = true;
    if (mStage == Stage::kIdle || mStage == Stage::kDraining) abort();
  }

  void abort() override {
    mStage = Stage::kClosed;
    error_code ignored;
    mSocket.close(ignored);
    mTimer.cancel();
  }

 private:
  enum class Stage { kIdle, kHeader, kBody, kWorking, kWriting, kDraining, kClosed };
  using Parser = web::request_parser<web::string_body>;

  bool isClosed() const { return mStage == Stage::kClosed; }

  // ---- deadlines: each stage has one, and only the present stage's counts

  void enter(Stage stage, steady_clock::time_point deadline) {
    mStage = stage;
    mTimer.expires_at(deadline);
    mTimer.async_wait([self = shared_from_this(), deadline](error_code error) {
      if (!error && self->mTimer.expiry() == deadline) self->expired();
    });
  }
  void enter(Stage stage, std::chrono::milliseconds time) { enter(stage, steady_clock::now() + time); }

  void expired() {
    switch (mStage) {
      case Stage::kHeader:
      case Stage::kBody:
        mTimedOut = true;
        mSocket.cancel();
        break;
      case Stage::kWorking:
        refuse(failureAnswer(504, "The answer took too long"));
        break;
      default:
        abort();
    }
  }

  // ---- reading

  void awaitRequest() {
    if (mFinishing) return drain();
    mTimedOut = false;
    mSerializer.reset();
    mResponse.reset();
    mParser.emplace();
    mParser->header_limit(mContext.limits.headerBytes);
    mParser->body_limit(mContext.limits.bodyBytes);
    if (mBuffer.size() > 0) return readHeader();
    enter(Stage::kIdle, mContext.limits.idleTimeout);
    mSocket.async_read_some(mBuffer.prepare(kReadBytes),
                            [self = shared_from_this()](error_code error, std::size_t bytes) {
                              if (error || self->isClosed()) return self->abort();
                              self->mBuffer.commit(bytes);
                              self->readHeader();
                            });
  }

  void readHeader() {
    enter(Stage::kHeader, mContext.limits.headerTimeout);
    web::async_read_header(mSocket, mBuffer, *mParser, [self = shared_from_this()](error_code error, std::size_t) {
      if (error) return self->readFailed(error);
      self->headerRead();
    });
  }

  void headerRead() {
    if (isClosed()) return;
    const auto& header = mParser->get();
    enter(Stage::kBody, mContext.limits.requestTimeout);
    const auto encoding = header.find(web::field::transfer_encoding);
    if (encoding != header.end() && !beast::iequals(encoding->value(), "chunked")) {
      return refuse(failureAnswer(501, "The transfer encoding is not known"));
    }
    if (header.version() >= 11 && header.find(web::field::host) == header.end()) {
      return refuse(failureAnswer(400, "The request has no Host header"));
    }
    const auto expect = header.find(web::field::expect);
    if (expect == header.end()) return readBody();
    if (!beast::iequals(expect->value(), "100-continue")) {
      return refuse(failureAnswer(417, "The expectation is not known"));
    }
    asio::async_write(mSocket, asio::buffer(kContinue), [self = shared_from_this()](error_code error, std::size_t) {
      if (error || self->isClosed()) return self->readFailed(error);
      self->readBody();
    });
  }

  void readBody() {
    web::async_read(mSocket, mBuffer, *mParser, [self = shared_from_this()](error_code error, std::size_t) {
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
    auto& message = mParser->get();
    ClientRequest request{std::string(message.method_string()), std::string(message.target()), cookies(),
                          std::move(message.body()), mRemoteAddress};
    mContext.service.serve(std::move(request),
                           [weak = weak_from_this(), io = mContext.io, number = ++mRequests](Answer answer) {
                             asio::post(*io, [weak, number, answer = std::move(answer)]() mutable {
                               const auto self = weak.lock();
                               if (self) self->answered(number, std::move(answer));
                             });
                           });
  }

  std::string cookies() const {
    std::string text;
    const auto [first, last] = mParser->get().equal_range(web::field::cookie);
    for (auto field = first; field != last; ++field) {
      text += (text.empty() ? "" : "; ") + std::string(field->value());
    }
    return text;
  }

  void answered(unsigned long number, Answer answer) {
    if (mStage == Stage::kWorking && number == mRequests) write(std::move(answer));
  }

  /// Answers what cannot be served and ends the connection, because what follows may be anything.
  void refuse(Answer answer) {
    mContext.logRefusal(mRemoteAddress, std::to_string(answer.status) + " " + printable(mParser->get().target()));
    answer.close = true;
    write(std::move(answer));
  }

  void write(Answer answer) {
    const auto& request = mParser->get();
    const bool close = answer.close || mFinishing || !mParser->is_done() || !request.keep_alive();
    logAnswer(answer);
    prepare(std::move(answer), close);
    enter(Stage::kWriting, mContext.limits.writeTimeout);
    mSerializer.emplace(*mResponse);
    auto written = [self = shared_from_this(), close](error_code error, std::size_t) {
      if (error || self->isClosed()) return self->abort();
      close ? self->drain() : self->awaitRequest();
    };
    if (request.method() == web::verb::head) {
      mSerializer->split(true);
      web::async_write_header(mSocket, *mSerializer, std::move(written));
    } else {
      web::async_write(mSocket, *mSerializer, std::move(written));
    }
  }

  void logAnswer(const Answer& answer) const {
    if (!utils::logging::enabled(utils::LOG_DETAIL)) return;
    const auto& request = mParser->get();
    utils::formatted_log_t(utils::LOG_DETAIL, "Session:write:%1% %2% %3% %4% bytes:%5%") % mRemoteAddress %
        request.method_string() % printable(request.target()) % answer.status % answer.body.size();
  }

  void prepare(Answer answer, bool close) {
    const unsigned version = mParser->get().version() == 10 ? 10 : 11;
    mResponse.emplace(static_cast<web::status>(answer.status), version);
    mResponse->set(web::field::server, "kvt-server");
    mResponse->set(web::field::date, httpDate());
    mResponse->set(web::field::content_type, "application/json");
    mResponse->set(web::field::cache_control, "no-store");
    for (const auto& [name, value] : answer.headers) {
      mResponse->set(name, value);
    }
    mResponse->keep_alive(!close);
    if (mResponse->result() == web::status::no_content) {
      mResponse->erase(web::field::content_type);
      return;
    }
    mResponse->body() = std::move(answer.body);
    mResponse->prepare_payload();
  }

  /// Ends the connection so that the client can still read the answer.
  void drain() {
    error_code error;
    mSocket.shutdown(tcp::socket::shutdown_send, error);
    if (error) return abort();
    enter(Stage::kDraining, kDrainTime);
    discard();
  }

  void discard() {
    mBuffer.clear();
    mSocket.async_read_some(mBuffer.prepare(kReadBytes), [self = shared_from_this()](error_code error, std::size_t) {
      if (error || self->isClosed()) return self->abort();
      self->discard();
    });
  }

  SessionContext& mContext;
  tcp::socket mSocket;
  asio::steady_timer mTimer;
  beast::flat_buffer mBuffer;
  const std::string mRemoteAddress;
  Stage mStage = Stage::kIdle;
  bool mFinishing = false;
  bool mTimedOut = false;
  unsigned long mRequests = 0;
  std::optional<Parser> mParser;
  std::optional<web::response<web::string_body>> mResponse;
  std::optional<web::response_serializer<web::string_body>> mSerializer;
};

}  // namespace

void SessionContext::leave(Session* session) {
  sessions.erase(session);
  if (sessions.empty() && whenEmpty) whenEmpty();
}

void SessionContext::logRefusal(const std::string& remoteAddress, const std::string& what) {
  const auto leftOut = refusals.pass(LogLimiter::Clock::now());
  if (!leftOut) return;
  utils::formatted_log_t(utils::LOG_FAILURE, "Front:refused a request of %1%:%2% (%3% records left out before)") %
      remoteAddress % what % *leftOut;
}

std::shared_ptr<Session> makeSession(tcp::socket socket, SessionContext& context) {
  return std::make_shared<HttpSession>(std::move(socket), context);
}

}  // namespace host
