#pragma once

#include <memory>
#include <string>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <openssl/err.h>
#include <openssl/ssl.h>

namespace host {

/// A connection as it is.
class PlainTransport {
 public:
  static constexpr bool kIsSecure = false;

  explicit PlainTransport(boost::asio::ip::tcp::socket socket) : mSocket(std::move(socket)) {}

  auto& stream() { return mSocket; }
  auto& socket() { return mSocket; }

  /// Tells the client that nothing more comes. The handler may be called at once.
  template <typename Handler>
  void sayGoodbye(Handler handler) {
    boost::system::error_code error;
    mSocket.shutdown(boost::asio::ip::tcp::socket::shutdown_send, error);
    handler(error);
  }

 private:
  boost::asio::ip::tcp::socket mSocket;
};

/// A connection that speaks TLS.
class TlsTransport {
 public:
  static constexpr bool kIsSecure = true;

  TlsTransport(boost::asio::ip::tcp::socket socket, std::shared_ptr<boost::asio::ssl::context> context)
      : mContext(std::move(context)), mStream(std::move(socket), *mContext) {}

  auto& stream() { return mStream; }
  auto& socket() { return mStream.next_layer(); }

  template <typename Handler>
  void handshake(Handler handler) {
    mStream.async_handshake(boost::asio::ssl::stream_base::server,
                            [handler = std::move(handler)](boost::system::error_code error) mutable {
                              if (error) ERR_clear_error();
                              handler(error);
                            });
  }

  /// Whether the client has ended the handshake by an alert (RFC 8446 section 6.2).
  static bool isAlert(boost::system::error_code error) {
    return error.category() == boost::asio::error::get_ssl_category() &&
           ERR_GET_REASON(static_cast<unsigned long>(error.value())) >= SSL_AD_REASON_OFFSET;
  }

  /// Sends the close_notify of RFC 8446 section 6.1. The client's own is not waited for: it need not send one.
  template <typename Handler>
  void sayGoodbye(Handler handler) {
    SSL_set_shutdown(mStream.native_handle(), SSL_RECEIVED_SHUTDOWN);
    mStream.async_shutdown([this, handler = std::move(handler)](boost::system::error_code error) mutable {
      if (error) ERR_clear_error();
      if (!error) socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, error);
      handler(error);
    });
  }

 private:
  const std::shared_ptr<boost::asio::ssl::context> mContext;
  boost::beast::ssl_stream<boost::asio::ip::tcp::socket> mStream;
};

}  // namespace host
