// The HTTP library's server on the gateway's own sockets: with or without TLS, any number of
// requests on a connection, and requests that get no answer. Independent of records.
#pragma once

#include <httplib.h>

#include <functional>
#include <string>

#include "gateway/certificate.h"
#include "gateway/connection.h"

namespace Gateway {

class HttpServer final : public httplib::Server {
 public:
  static constexpr std::size_t kMaxBodyBytes = std::size_t{64} * 1024 * 1024;

  // Without a context it speaks plain HTTP. `beforeStop` must end the request handlers that wait.
  HttpServer(SslContextPtr context, std::function<void()> beforeStop);
  ~HttpServer() override;

  // Listens on the port; 0 selects a free one. Clients can connect from now on. Returns the port,
  // or -1 on failure.
  int Bind(const std::string& address, int port);

  // Serves until Stop is called, then ends all connections. Call it once, after Bind.
  void Run();

  // Does not block; callable from any thread and from a signal handler, at any time.
  void Stop();

  // Ends the connections that are in HoldUntilClosed.
  void EndHeldConnections() { connections_.EndHeld(); }

  // A header of the request as the client sent it. By Content-Encoding and Content-Type the library
  // would expand gzip bodies and split multipart ones, but the gateway needs the bytes as they are;
  // so these headers are stored under other names.
  static std::string OriginalHeader(const httplib::Request& request, const std::string& name);

 private:
  bool process_and_close_socket(socket_t socket) override;
  void Serve(Connection& connection);

  const SslContextPtr context_;
  ConnectionList connections_;
  socket_t listener_ = INVALID_SOCKET;
};

}  // namespace Gateway
