// The functions of Connection. Included once, by beast_server.cpp.
#pragma once

#include <algorithm>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/status.hpp>
#include <cctype>
#include <iterator>
#include <string_view>
#include <utility>

#include "gateway/http/connection.h"

namespace Gateway {
namespace {

namespace http = boost::beast::http;

// An idle connection holds this much.
constexpr std::size_t kFirstRead = 1024;
constexpr std::size_t kNextRead = std::size_t{16} * 1024;

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

std::string_view View(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

std::string LowerCase(std::string_view text) {
  std::string out(text);
  std::ranges::transform(out, out.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

int StatusOf(const boost::system::error_code& failure) {
  if (failure == http::error::body_limit) {
    return 413;
  }
  return failure == http::error::header_limit ? 431 : 400;
}

}  // namespace

inline void ConnectionSet::Add(Connection& connection) {
  const std::scoped_lock guard(lock_);
  connections_.insert(&connection);
}

inline void ConnectionSet::Remove(Connection& connection) {
  const std::scoped_lock guard(lock_);
  connections_.erase(&connection);
}

inline std::size_t ConnectionSet::Size() const {
  const std::scoped_lock guard(lock_);
  return connections_.size();
}

inline std::vector<std::shared_ptr<Connection>> ConnectionSet::All() const {
  const std::scoped_lock guard(lock_);
  std::vector<std::shared_ptr<Connection>> all;
  for (Connection* connection : connections_) {
    // Null for one whose destructor waits for the lock.
    if (auto kept = connection->weak_from_this().lock()) {
      all.push_back(std::move(kept));
    }
  }
  return all;
}

inline Connection::Connection(Socket socket,
                              TlsContext* tls,
                              PortRole role,
                              ConnectionContext& context)
    : context_(context), role_(role), wire_(std::move(socket), tls), timer_(wire_.get_executor()) {
  context_.connections.Add(*this);
}

inline Connection::~Connection() {
  ReleaseBody();
  context_.connections.Remove(*this);
}

inline void Connection::Start() {
  OnStrand([this] { Open(); });
}

inline void Connection::Drain() {
  OnStrand([this] {
    if (phase_ != Phase::Receiving && phase_ != Phase::Working && phase_ != Phase::Sending) {
      Close();
    }
  });
}

inline void Connection::EndIfHeld() {
  OnStrand([this] {
    if (phase_ == Phase::Held) {
      Close();
    }
  });
}

inline void Connection::End() {
  OnStrand([this] { Close(); });
}

inline void Connection::Send(HttpResponse response) {
  OnStrand([this, response = std::move(response)]() mutable { Write(std::move(response)); });
}

inline void Connection::Hold() {
  OnStrand([this] {
    if (context_.isDraining) {
      return Close();
    }
    phase_ = Phase::Held;
    Discard();
  });
}

inline void Connection::Follow(LiveFeed& feed) {
  OnStrand([this, &feed] { FollowNow(feed); });
}

inline void Connection::Deliver(std::shared_ptr<const std::string> event) {
  OnStrand([this, event = std::move(event)] { QueueEvent(event); });
}

inline void Connection::Open() {
  const bool isFull = context_.connections.Size() > context_.limits.maxConnections;
  if (context_.isDraining || (isFull && wire_.IsSecure())) {
    return Close();
  }
  if (isFull) {
    return Refuse(503);
  }
  if (!wire_.IsSecure()) {
    return AwaitRequest();
  }
  SetDeadline(Clock::now() + context_.limits.headTime);
  wire_.Handshake([self = shared_from_this()](const Error& failure) {
    failure ? self->Close() : self->AwaitRequest();
  });
}

inline void Connection::AwaitRequest() {
  if (phase_ == Phase::Closed || context_.isDraining) {
    return Close();
  }
  phase_ = Phase::Idle;
  if (buffer_.size() > 0) {
    return Consume();
  }
  if (buffer_.capacity() > kFirstRead) {
    buffer_ = boost::beast::flat_buffer();
  }
  SetDeadline(Clock::now() + context_.limits.idleTime);
  Read();
}

inline void Connection::Read() {
  wire_.async_read_some(buffer_.prepare(phase_ == Phase::Idle ? kFirstRead : kNextRead),
                        Bound(&Connection::OnRead));
}

inline void Connection::OnRead(const Error& failure, std::size_t count) {
  if (failure && isTimedOut_ && phase_ == Phase::Receiving) {
    return Refuse(408);
  }
  if (failure || phase_ == Phase::Closed) {
    return Close();
  }
  buffer_.commit(count);
  Consume();
}

inline void Connection::Consume() {
  if (phase_ == Phase::Idle) {
    StartRequest();
  }
  const Error failure = Parse();
  if (phase_ != Phase::Receiving) {
    return;
  }
  if (failure) {
    return Refuse(StatusOf(failure));
  }
  if (!ChargeBody()) {
    return Refuse(503);
  }
  parser_->is_done() ? Dispatch() : ReceiveMore();
}

inline void Connection::StartRequest() {
  phase_ = Phase::Receiving;
  begin_ = Clock::now();
  parser_ = std::make_unique<Parser>();
  parser_->header_limit(context_.limits.maxHeadBytes);
  parser_->body_limit(context_.limits.maxBodyBytes);
}

inline Connection::Error Connection::Parse() {
  Error failure;
  while (!failure && !parser_->is_done() && buffer_.size() > 0) {
    const bool hadHead = parser_->is_header_done();
    buffer_.consume(parser_->put(buffer_.data(), failure));
    if (!failure && !hadHead && parser_->is_header_done() && !AcceptHead()) {
      return failure;
    }
  }
  return failure == http::error::need_more ? Error() : failure;
}

inline bool Connection::AcceptHead() {
  const auto& head = parser_->get();
  begin_ = Clock::now();
  isHead_ = head.method() == http::verb::head;
  keepsAlive_ = head.keep_alive();
  owesContinue_ = boost::beast::iequals(head[http::field::expect], "100-continue");
  const auto count = static_cast<std::size_t>(std::distance(head.begin(), head.end()));
  if (count > context_.limits.maxHeaders) {
    Refuse(431);
    return false;
  }
  return true;
}

inline bool Connection::ChargeBody() {
  const std::size_t size = parser_->get().body().size();
  const std::size_t added = size - charged_;
  charged_ = size;
  return context_.bufferedBytes.fetch_add(added) + added <= context_.limits.maxBufferedBytes;
}

inline void Connection::ReleaseBody() {
  context_.bufferedBytes.fetch_sub(std::exchange(charged_, 0));
}

inline void Connection::ReceiveMore() {
  const bool hasHead = parser_->is_header_done();
  SetDeadline(begin_ + (hasHead ? TransferTime(charged_) : context_.limits.headTime));
  if (!hasHead || !std::exchange(owesContinue_, false)) {
    return Read();
  }
  net::async_write(wire_, net::buffer(kContinue),
                   [self = shared_from_this()](const Error& failure, std::size_t) {
                     failure ? self->Close() : self->Read();
                   });
}

inline void Connection::Dispatch() {
  phase_ = Phase::Working;
  timer_.cancel();
  context_.handler(std::make_shared<Exchange>(TakeRequest(), shared_from_this()));
}

inline HttpRequest Connection::TakeRequest() {
  auto message = parser_->release();
  parser_.reset();
  HttpRequest request;
  request.method = View(message.method_string());
  SetTarget(request, View(message.target()));
  for (const auto& field : message) {
    request.headers.emplace(LowerCase(View(field.name_string())), View(field.value()));
  }
  request.body = std::move(message.body());
  request.role = role_;
  request.isSecure = wire_.IsSecure();
  return request;
}

}  // namespace Gateway
