// The HTTP library's server on sockets of our own: with or without TLS, any number of requests on a
// connection, and a way to leave a request without an answer. It knows nothing of records.
#pragma once

#include <httplib.h>

#include <functional>
#include <string>

#include "gateway/certificate.h"
#include "gateway/connection.h"

namespace Gateway {

class HttpServer final : public httplib::Server {
 public:
  // What an overlong body is measured against.
  static constexpr std::size_t kMaxBodyBytes = std::size_t{64} * 1024 * 1024;

  // Plain HTTP without a context. `beforeStop` must release request handlers that wait.
  HttpServer(SslContextPtr context, std::function<void()> beforeStop);
  ~HttpServer() override;

  // Takes the port, 0 for any free one; connections queue up from here on. Returns the port, or -1
  // when it cannot be had.
  int Bind(const std::string& address, int port);

  // Serves until Stop is called; then ends all connections and returns. Once, after Bind.
  void Run();

  // Any thread, any time, also from a signal handler; returns at once.
  void Stop();

  // Ends the connections whose peers are left waiting.
  void EndHeldConnections() { connections_.EndHeld(); }

  // A header of the request as the client sent it. The library would expand a gzip body and take a
  // multipart one apart by the headers that describe it, and the gateway wants the bytes as they
  // are; so those headers are kept under another name until here.
  static std::string OriginalHeader(const httplib::Request& request, const std::string& name);

 private:
  bool process_and_close_socket(socket_t socket) override;
  void Serve(Connection& connection);

  const SslContextPtr context_;
  ConnectionList connections_;
  socket_t listener_ = INVALID_SOCKET;
};

}  // namespace Gateway
