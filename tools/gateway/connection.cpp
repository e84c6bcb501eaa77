#include "gateway/connection.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace Gateway {
namespace {

thread_local Connection* currentConnection = nullptr;

int TlsSize(std::size_t size) {
  return static_cast<int>(
      std::min(size, static_cast<std::size_t>(std::numeric_limits<int>::max())));
}

void SetTcpOption(socket_t socket, int option) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, option, &on, sizeof on);
}

// Acknowledges the next bytes at once; must be repeated before each wait. A client that sends
// headers and body separately holds the body back until the headers are acknowledged, which would
// otherwise take 40 ms for each record.
void AcknowledgeAtOnce([[maybe_unused]] socket_t socket) {
#ifdef TCP_QUICKACK
  SetTcpOption(socket, TCP_QUICKACK);
#endif
}

}  // namespace

Connection::Connection(socket_t socket, SSL_CTX* context) : socket_(socket) {
  currentConnection = this;
  // Short answers do not wait for the peer's acknowledgement.
  SetTcpOption(socket_, TCP_NODELAY);
  if (context != nullptr) {
    session_.reset(SSL_new(context));
  }
}

Connection::~Connection() {
  currentConnection = nullptr;
  if (isSecure_ && !isAbandoned_) {
    SSL_shutdown(session_.get());
  }
  End();
  ::close(socket_);
}

Connection* Connection::Current() {
  return currentConnection;
}

bool Connection::Handshake() {
  if (!session_) {
    return true;
  }
  isSecure_ = SSL_set_fd(session_.get(), socket_) == 1 && SSL_accept(session_.get()) == 1;
  return isSecure_;
}

void Connection::HoldUntilClosed() {
  const timeval noTimeout{};
  setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &noTimeout, sizeof noTimeout);
  isHeld_ = true;
  // Discards what the peer still sends, so it need not be decrypted.
  while (::recv(socket_, buffer_.data(), buffer_.size(), 0) > 0) {
  }
  isHeld_ = false;
  Abandon();
}

void Connection::End() {
  ::shutdown(socket_, SHUT_RDWR);
}

ssize_t Connection::read(char* data, size_t size) {
  if (isAbandoned_) {
    return -1;
  }
  if (bufferStart_ == bufferEnd_) {
    if (size >= buffer_.size()) {
      return ReceiveSome(data, size);
    }
    const ssize_t count = ReceiveSome(buffer_.data(), buffer_.size());
    if (count <= 0) {
      return count;
    }
    bufferStart_ = 0;
    bufferEnd_ = static_cast<std::size_t>(count);
  }
  const std::size_t count = std::min(size, bufferEnd_ - bufferStart_);
  std::memcpy(data, buffer_.data() + bufferStart_, count);
  bufferStart_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, size_t size) {
  std::size_t sent = 0;
  while (sent < size && !isAbandoned_) {
    const ssize_t count = SendSome(data + sent, size - sent);
    if (count <= 0) {
      Abandon();
    } else {
      sent += static_cast<std::size_t>(count);
    }
  }
  return isAbandoned_ ? -1 : static_cast<ssize_t>(sent);
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip.clear();
  port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
  get_remote_ip_and_port(ip, port);
}

ssize_t Connection::ReceiveSome(char* data, std::size_t size) {
  AcknowledgeAtOnce(socket_);
  return session_ ? SSL_read(session_.get(), data, TlsSize(size)) : ::recv(socket_, data, size, 0);
}

// The HTTP library ignores SIGPIPE for the whole process.
ssize_t Connection::SendSome(const char* data, std::size_t size) {
  return session_ ? SSL_write(session_.get(), data, TlsSize(size)) : ::send(socket_, data, size, 0);
}

bool ConnectionList::Add(Connection& connection) {
  const std::scoped_lock guard(lock_);
  return !isClosed_ && connections_.insert(&connection).second;
}

void ConnectionList::Remove(Connection& connection) {
  const std::scoped_lock guard(lock_);
  connections_.erase(&connection);
}

void ConnectionList::EndHeld() {
  const std::scoped_lock guard(lock_);
  for (Connection* connection : connections_) {
    if (connection->IsHeld()) {
      connection->End();
    }
  }
}

void ConnectionList::EndAll() {
  const std::scoped_lock guard(lock_);
  isClosed_ = true;
  for (Connection* connection : connections_) {
    connection->End();
  }
}

}  // namespace Gateway
