#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <csignal>
#include <mutex>

#include "gateway/http/client_stream.h"

namespace Gateway {
namespace {

constexpr std::size_t kPieceSize = std::size_t{64} * 1024;

struct BioRelease {
  void operator()(BIO* bio) const { BIO_free_all(bio); }
};
struct ContextRelease {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

class OpenSslStream final : public ClientStream {
 public:
  OpenSslStream() : context_(SSL_CTX_new(TLS_client_method())) {
    // OpenSSL writes to sockets whose peer may be gone.
    std::signal(SIGPIPE, SIG_IGN);
  }
  ~OpenSslStream() override { Close(); }
  OpenSslStream(const OpenSslStream&) = delete;
  OpenSslStream& operator=(const OpenSslStream&) = delete;

  bool Connect(const std::string& authority) override {
    connection_.reset(BIO_new_connect(authority.c_str()));
    if (!connection_ || BIO_do_connect(connection_.get()) != 1) {
      connection_.reset();
      return false;
    }
    {
      const std::scoped_lock guard(lock_);
      BIO_get_fd(connection_.get(), &socket_);
      SetOptions();
    }
    connection_.reset(BIO_push(BIO_new_ssl(context_.get(), 1), connection_.release()));
    return BIO_do_handshake(connection_.get()) == 1;
  }

  bool Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const int count = BIO_write(connection_.get(), bytes.data(),
                                  static_cast<int>(std::min(bytes.size(), kPieceSize)));
      if (count <= 0) {
        return false;
      }
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  bool Read(std::string& bytes) override {
    char buffer[kPieceSize];
    const int count =
        connection_ ? BIO_read(connection_.get(), buffer, static_cast<int>(sizeof buffer)) : 0;
    bytes.append(buffer, static_cast<std::size_t>(std::max(count, 0)));
    return count > 0;
  }

  void SetTimeout(std::chrono::milliseconds timeout) override {
    timeout_ = timeout;
    const std::scoped_lock guard(lock_);
    if (socket_ >= 0) {
      SetOptions();
    }
  }

  void Close() override {
    const std::scoped_lock guard(lock_);
    socket_ = -1;
    connection_.reset();
  }

  void End() override {
    const std::scoped_lock guard(lock_);
    if (socket_ >= 0) {
      ::shutdown(socket_, SHUT_RDWR);
    }
  }

 private:
  void SetOptions() const {
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const auto ms = timeout_.count();
    const timeval time{static_cast<time_t>(ms / 1000), static_cast<suseconds_t>(ms % 1000 * 1000)};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
  }

  std::chrono::milliseconds timeout_{0};
  std::unique_ptr<SSL_CTX, ContextRelease> context_;
  std::unique_ptr<BIO, BioRelease> connection_;
  std::mutex lock_;  // guards the socket against End
  int socket_ = -1;
};

}  // namespace

std::unique_ptr<ClientStream> NewTlsStream() {
  return std::make_unique<OpenSslStream>();
}

}  // namespace Gateway
