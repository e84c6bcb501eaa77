// Names of Asio's types. Part of beast_server.cpp.
#pragma once

#include <boost/asio.hpp>

namespace Gateway {

namespace net = boost::asio;
using tcp = net::ip::tcp;
using Strand = net::strand<net::io_context::executor_type>;
using Socket = net::basic_stream_socket<tcp, Strand>;

}  // namespace Gateway
