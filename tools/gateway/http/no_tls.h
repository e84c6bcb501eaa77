// Stands in for tls.h in builds without OpenSSL. No port has a context there (certificate.h), and
// so no connection a stream; its operations fail.
#pragma once

#include <cstddef>
#include <utility>

#include "gateway/certificate.h"
#include "gateway/http/socket.h"

namespace Gateway {

class TlsContext {
 public:
  explicit TlsContext(ssl_ctx_st*) {}
};

class TlsStream {
 public:
  TlsStream(Socket& socket, TlsContext&) : executor_(socket.get_executor()) {}

  template <typename Handler>
  void async_shutdown(Handler&& handler) {
    net::post(executor_,
              [handler = std::forward<Handler>(handler)]() mutable { handler(Failure()); });
  }
  template <typename Buffers, typename Handler>
  void async_read_some(const Buffers&, Handler&& handler) {
    FailToTransfer(std::forward<Handler>(handler));
  }
  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers&, Handler&& handler) {
    FailToTransfer(std::forward<Handler>(handler));
  }

 private:
  static boost::system::error_code Failure() { return net::error::operation_not_supported; }

  template <typename Handler>
  void FailToTransfer(Handler&& handler) {
    net::post(executor_, [handler = std::forward<Handler>(handler)]() mutable {
      handler(Failure(), std::size_t{0});
    });
  }

  Strand executor_;
};

template <typename Handler>
void HandshakeAsServer(TlsStream& stream, Handler&& handler) {
  stream.async_shutdown(std::forward<Handler>(handler));
}

}  // namespace Gateway
