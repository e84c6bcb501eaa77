#include "gateway/connection.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "gateway/socket.h"

namespace Gateway {
namespace {

thread_local Connection* currentConnection = nullptr;

int TlsSize(std::size_t size) {
  return static_cast<int>(
      std::min(size, static_cast<std::size_t>(std::numeric_limits<int>::max())));
}

}  // namespace

Connection::Connection(socket_t socket, SSL_CTX* context) : socket_(socket) {
  currentConnection = this;
  SetNoDelay(socket_);
  if (context != nullptr) {
    session_.reset(SSL_new(context));
  }
}

Connection::~Connection() {
  currentConnection = nullptr;
  if (isSecure_ && !isAbandoned_) {
    SSL_shutdown(session_.get());
  }
  Shutdown(socket_);
  Close(socket_);
}

Connection* Connection::Current() {
  return currentConnection;
}

bool Connection::Handshake() {
  if (!session_) {
    return true;
  }
  // OpenSSL takes an int on every system; Windows promises that its socket handles fit.
  isSecure_ =
      SSL_set_fd(session_.get(), static_cast<int>(socket_)) == 1 && SSL_accept(session_.get()) == 1;
  return isSecure_;
}

void Connection::HoldUntilClosed() {
  ClearReadTimeout(socket_);
  isHeld_ = true;
  // Whatever the peer still sends is of no interest, so TLS is left out.
  while (Receive(socket_, buffer_.data(), buffer_.size()) > 0) {
  }
  isHeld_ = false;
  Abandon();
}

void Connection::End() {
  Shutdown(socket_);
}

ssize_t Connection::read(char* data, size_t size) {
  if (isAbandoned_) {
    return -1;
  }
  if (bufferStart_ == bufferEnd_) {
    if (size >= buffer_.size()) {
      return ReceiveSome(data, size);
    }
    const std::ptrdiff_t count = ReceiveSome(buffer_.data(), buffer_.size());
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
    const std::ptrdiff_t count = SendSome(data + sent, size - sent);
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

std::ptrdiff_t Connection::ReceiveSome(char* data, std::size_t size) {
  AcknowledgeAtOnce(socket_);
  return session_ ? SSL_read(session_.get(), data, TlsSize(size)) : Receive(socket_, data, size);
}

std::ptrdiff_t Connection::SendSome(const char* data, std::size_t size) {
  return session_ ? SSL_write(session_.get(), data, TlsSize(size)) : Send(socket_, data, size);
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
