// A client's socket, with TLS if its port has it. Part of beast_server.cpp.
#pragma once

#include <memory>
#include <utility>

#include "gateway/http/socket.h"
#ifdef GATEWAY_HAS_TLS
#include "gateway/http/tls.h"
#else
#include "gateway/http/no_tls.h"
#endif

namespace Gateway {

// A stream for Asio's composed operations. Used on its strand only.
class Wire {
 public:
  using executor_type = Strand;

  // `context` is borrowed; null for a connection without TLS.
  Wire(Socket socket, TlsContext* context) : socket_(std::move(socket)) {
    boost::system::error_code ignored;
    // Short answers do not wait for the peer's acknowledgement.
    socket_.set_option(tcp::no_delay(true), ignored);
    if (context != nullptr) {
      tls_ = std::make_unique<TlsStream>(socket_, *context);
    }
  }

  executor_type get_executor() { return socket_.get_executor(); }
  Socket& Raw() { return socket_; }
  bool IsSecure() const { return tls_ != nullptr; }

  template <typename Handler>
  void Handshake(Handler&& handler) {
    HandshakeAsServer(*tls_, std::forward<Handler>(handler));
  }
  template <typename Handler>
  void ShutDownTls(Handler&& handler) {
    tls_->async_shutdown(std::forward<Handler>(handler));
  }

  template <typename Buffers, typename Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    AcknowledgeAtOnce();
    if (tls_) {
      tls_->async_read_some(buffers, std::forward<Handler>(handler));
    } else {
      socket_.async_read_some(buffers, std::forward<Handler>(handler));
    }
  }

  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    if (tls_) {
      tls_->async_write_some(buffers, std::forward<Handler>(handler));
    } else {
      socket_.async_write_some(buffers, std::forward<Handler>(handler));
    }
  }

 private:
  // Must be repeated before each wait. A client that sends headers and body separately holds the
  // body back until the headers are acknowledged, which would otherwise take 40 ms for each record.
  void AcknowledgeAtOnce() {
#ifdef TCP_QUICKACK
    const int on = 1;
    ::setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#endif
  }

  Socket socket_;
  std::unique_ptr<TlsStream> tls_;
};

}  // namespace Gateway
