// TLS over a client's socket. Part of beast_server.cpp.
#pragma once

#include <boost/asio/ssl.hpp>
#include <utility>

#include "gateway/http/socket.h"

namespace Gateway {

using TlsContext = net::ssl::context;
using TlsStream = net::ssl::stream<Socket&>;

template <typename Handler>
void HandshakeAsServer(TlsStream& stream, Handler&& handler) {
  stream.async_handshake(net::ssl::stream_base::server, std::forward<Handler>(handler));
}

}  // namespace Gateway
