#pragma once

#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "host/Result.h"
#include "host/config/ListenAddress.h"
#include "host/net/Endpoint.h"

namespace host {

/// Opens a listening socket for each address, or for none of them.
Result<std::vector<boost::asio::ip::tcp::acceptor>> openListeners(boost::asio::io_context& io,
                                                                  const std::vector<ListenAddress>& addresses);

/// Where a listening socket listens.
Endpoint endpointOf(const boost::asio::ip::tcp::acceptor& acceptor);

}  // namespace host
