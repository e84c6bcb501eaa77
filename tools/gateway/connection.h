// One client connection whose socket the gateway owns: the HTTP library reads requests from it and
// writes answers to it, and a fault can leave a request without an answer.
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
  // Owns `socket` from here on. `context` is borrowed; null for a connection without TLS.
  Connection(socket_t socket, SSL_CTX* context);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  // Says goodbye where TLS wants that, and closes the socket.
  ~Connection() override;

  // The connection that this thread serves at present; null on other threads.
  static Connection* Current();

  // Blocks for the TLS handshake; true at once without TLS.
  bool Handshake();

  // From here on nothing is written any more: the peer gets no answer, and the connection closes
  // when its thread returns to it.
  void Abandon() { isAbandoned_ = true; }

  // Leaves the peer waiting: blocks until it closes the connection or End is called, then abandons.
  void HoldUntilClosed();

  // No further request is read once the present one is answered.
  void CloseAfterAnswer() { isLast_ = true; }

  // True the first time that it is asked.
  bool TakeFirstUse() { return !std::exchange(isUsed_, true); }

  bool IsOpen() const { return !isAbandoned_ && !isLast_; }
  bool IsHeld() const { return isHeld_; }

  // Wakes the serving thread wherever it waits on the socket; every further read fails.
  void End();

  // What the HTTP library calls.
  bool is_readable() const override { return true; }
  bool is_writable() const override { return !isAbandoned_; }
  ssize_t read(char* data, size_t size) override;
  ssize_t write(const char* data, size_t size) override;
  using httplib::Stream::write;
  // Nobody here asks for addresses: every client is on this machine.
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  std::ptrdiff_t ReceiveSome(char* data, std::size_t size);
  std::ptrdiff_t SendSome(const char* data, std::size_t size);

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

// The connections that are open, so that others than their threads can end them. Any thread.
class ConnectionList {
 public:
  // False once EndAll was called: the connection is not to be served.
  bool Add(Connection& connection);
  void Remove(Connection& connection);

  // Ends the connections whose peers are left waiting.
  void EndHeld();
  // Ends all of them and lets no further one in.
  void EndAll();

 private:
  std::mutex lock_;
  std::set<Connection*> connections_;
  bool isClosed_ = false;
};

}  // namespace Gateway
