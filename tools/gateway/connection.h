// One client connection on a socket that the gateway owns. The HTTP library reads requests from it
// and writes answers to it; a fault can leave a request without an answer.
#pragma once

#include <httplib.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>

namespace Gateway {

struct SslRelease {
  void operator()(SSL* session) const { SSL_free(session); }
};

// Used by the thread that serves it; only End may be called from another one.
class Connection final : public httplib::Stream {
 public:
  // Takes ownership of `socket`. `context` is borrowed; null for a connection without TLS.
  Connection(socket_t socket, SSL_CTX* context);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  // Shuts TLS down in order unless the connection was abandoned, and closes the socket.
  ~Connection() override;

  // The connection that this thread serves; null on other threads.
  static Connection* Current();

  // Blocks for the TLS handshake; true at once without TLS.
  bool Handshake();

  // Drops everything that is written from now on: the peer gets no answer, and the connection
  // closes when its thread returns to it.
  void Abandon() { isAbandoned_ = true; }

  // Blocks until the peer closes the connection or End is called, then abandons it.
  void HoldUntilClosed();

  // Closes the connection after the answer to the current request.
  void CloseAfterAnswer() { isLast_ = true; }

  // Marks the connection as used; true the first time.
  bool MarkUsed() { return !std::exchange(isUsed_, true); }

  bool IsOpen() const { return !isAbandoned_ && !isLast_; }
  bool IsHeld() const { return isHeld_; }

  // Wakes the serving thread if it waits for the socket; all further reads fail.
  void End();

  // The interface for the HTTP library.
  bool is_readable() const override { return true; }
  bool is_writable() const override { return !isAbandoned_; }
  ssize_t read(char* data, size_t size) override;
  ssize_t write(const char* data, size_t size) override;
  using httplib::Stream::write;
  // Not used here, so they return nothing.
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  ssize_t ReceiveSome(char* data, std::size_t size);
  ssize_t SendSome(const char* data, std::size_t size);

  const socket_t socket_;
  std::unique_ptr<SSL, SslRelease> session_;
  bool isSecure_ = false;  // the handshake is done
  bool isAbandoned_ = false;
  bool isLast_ = false;
  bool isUsed_ = false;
  std::atomic<bool> isHeld_ = false;

  // The library reads headers byte by byte.
  std::array<char, 16 * 1024> buffer_;
  std::size_t bufferStart_ = 0;
  std::size_t bufferEnd_ = 0;
};

// The open connections, so that other threads can end them. Thread-safe.
class ConnectionList {
 public:
  // Returns false after EndAll: the connection must not be served.
  bool Add(Connection& connection);
  void Remove(Connection& connection);

  // Ends the connections that are in HoldUntilClosed.
  void EndHeld();
  // Ends all connections and accepts no more.
  void EndAll();

 private:
  std::mutex lock_;
  std::set<Connection*> connections_;
  bool isClosed_ = false;
};

}  // namespace Gateway
