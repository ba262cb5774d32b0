#include "host/http/Listener.h"

#include <algorithm>
#include <utility>

#include <boost/asio/ip/v6_only.hpp>

namespace host {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using tcp = asio::ip::tcp;

/// Opens one socket. `v6Only` matters to IPv6 alone: false takes IPv4 in, too.
Result<tcp::acceptor> open(asio::io_context& io, const tcp::endpoint& endpoint, bool v6Only, error_code& error) {
  tcp::acceptor acceptor(io);
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error && endpoint.address().is_v6()) acceptor.set_option(asio::ip::v6_only(v6Only), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (!error) return acceptor;
  return Failure{error.message()};
}

bool hasNoIpV6(const error_code& error) {
  return error == asio::error::address_family_not_supported ||
         error == error_code(EADDRNOTAVAIL, boost::system::system_category());
}

Result<tcp::acceptor> openEvery(asio::io_context& io, std::uint16_t port, bool v6Only) {
  error_code error;
  auto acceptor = open(io, {asio::ip::address_v6::any(), port}, v6Only, error);
  if (acceptor || !hasNoIpV6(error)) return acceptor;
  return open(io, {asio::ip::address_v4::any(), port}, false, error);
}

Result<tcp::acceptor> openOne(asio::io_context& io, const ListenAddress& listen, bool v6Only) {
  if (listen.address.empty()) return openEvery(io, listen.port, v6Only);
  error_code error;
  const auto address = asio::ip::make_address(listen.address, error);
  if (error) return Failure{error.message()};
  return open(io, {address, listen.port}, v6Only, error);
}

}  // namespace

Result<std::vector<tcp::acceptor>> openListeners(asio::io_context& io, const std::vector<ListenAddress>& addresses) {
  std::vector<tcp::acceptor> acceptors;
  for (const ListenAddress& listen : addresses) {
    // Beside a listener for IPv4 at the same port, one for both families would find the port taken.
    const bool v6Only = std::any_of(addresses.begin(), addresses.end(), [&](const ListenAddress& other) {
      return other.port == listen.port && other.address.find('.') != std::string::npos;
    });
    auto acceptor = openOne(io, listen, v6Only);
    if (!acceptor) return Failure{"cannot listen on " + toString(listen) + ": " + acceptor.error()};
    acceptors.push_back(std::move(*acceptor));
  }
  return acceptors;
}

Endpoint endpointOf(const tcp::acceptor& acceptor) {
  error_code ignored;
  const auto endpoint = acceptor.local_endpoint(ignored);
  return Endpoint{endpoint.address().to_string(), endpoint.port()};
}

}  // namespace host
