// One client connection: reads requests within the limits, hands each to the server's handler,
// writes the answer, and starts again. Part of beast_server.cpp.
#pragma once

#include <atomic>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "gateway/http/growing_body.h"
#include "gateway/http/http_server.h"
#include "gateway/http/wire.h"

namespace Gateway {

class Connection;

// The open connections. Thread-safe.
class ConnectionSet {
 public:
  void Add(Connection& connection);
  void Remove(Connection& connection);
  std::size_t Size() const;
  std::vector<std::shared_ptr<Connection>> All() const;

 private:
  mutable std::mutex lock_;
  std::unordered_set<Connection*> connections_;
};

// What the connections of a server share.
struct ConnectionContext {
  const HttpLimits limits;
  const HttpServer::Handler handler;
  std::atomic<bool> isDraining = false;
  std::atomic<std::size_t> bufferedBytes = 0;
  ConnectionSet connections = {};
};

// Private functions run on the connection's strand, one at a time.
class Connection final : public Answerer, public std::enable_shared_from_this<Connection> {
 public:
  // Borrows both; `tls` may be null.
  Connection(Socket socket, TlsContext* tls, PortRole role, ConnectionContext& context);
  ~Connection() override;

  // These may be called on any thread.
  void Start();
  // Closes the connection, at once or when its request is answered.
  void Drain();
  void EndIfHeld();
  void End();

  void Send(HttpResponse response) override;
  void Drop() override { End(); }
  void Hold() override;
  void Follow(LiveFeed& feed) override;
  void Deliver(std::shared_ptr<const std::string> event) override;
  bool MarkUsed() override { return !isUsed_.exchange(true); }

 private:
  enum class Phase {
    Handshake,
    Idle,       // no byte of a request has arrived
    Receiving,  // a request
    Working,    // the handler has it
    Held,
    Following,  // a live feed
    Sending,
    Ending,  // after the last answer
    Closed,
  };
  using Clock = std::chrono::steady_clock;
  using Parser = boost::beast::http::request_parser<GrowingBody>;
  using Error = boost::system::error_code;

  void Open();
  void AwaitRequest();
  void Read();
  void OnRead(const Error& failure, std::size_t count);
  void Consume();
  void StartRequest();
  Error Parse();
  // False if the request has been refused.
  bool AcceptHead();
  bool ChargeBody();
  void ReleaseBody();
  void ReceiveMore();
  void Dispatch();
  HttpRequest TakeRequest();

  void Refuse(int status);
  void Write(HttpResponse response);
  void OnWritten(const Error& failure);
  void Finish();
  void ShutDownSend();
  // Reads and drops everything until the client closes the connection.
  void Discard();
  void Close();

  void FollowNow(LiveFeed& feed);
  void QueueEvent(std::shared_ptr<const std::string> event);
  void WriteEvents();

  void SetDeadline(Clock::time_point time);
  void OnDeadline();
  Clock::duration TransferTime(std::size_t bytes) const;

  // A completion handler that keeps the connection alive.
  template <typename Function>
  auto Bound(Function function) {
    return [self = shared_from_this(), function](const Error& failure, auto... rest) {
      ((*self).*function)(failure, rest...);
    };
  }
  // Runs the action on the strand, at once if this is it.
  template <typename Action>
  void OnStrand(Action action) {
    net::dispatch(wire_.get_executor(),
                  [self = shared_from_this(), action = std::move(action)]() mutable { action(); });
  }

  ConnectionContext& context_;
  const PortRole role_;
  Wire wire_;
  net::basic_waitable_timer<Clock, net::wait_traits<Clock>, Strand> timer_;
  std::atomic<bool> isUsed_ = false;
  Phase phase_ = Phase::Handshake;

  boost::beast::flat_buffer buffer_;
  std::unique_ptr<Parser> parser_;
  Clock::time_point begin_;  // of the headers, then of the body
  std::size_t charged_ = 0;  // bytes of this request in ConnectionContext::bufferedBytes
  bool isTimedOut_ = false;
  bool owesContinue_ = false;  // the client waits for status 100
  bool isHead_ = false;
  bool keepsAlive_ = true;
  bool hasUnread_ = false;  // bytes of a refused request may still arrive

  std::string head_;  // of the answer; or the events that are being written
  std::string body_;
  std::deque<std::shared_ptr<const std::string>> events_;
  std::size_t eventBytes_ = 0;
  bool isWriting_ = false;  // events
};

}  // namespace Gateway
