// The functions of Connection that answer and end. Included once, by beast_server.cpp.
#pragma once

#include <array>
#include <chrono>
#include <string>
#include <string_view>
#include <utility>

#include "gateway/http/connection_impl.h"

namespace Gateway {
namespace {

// For the client to read the last answer and close.
constexpr std::chrono::seconds kEndTime(2);
constexpr std::chrono::seconds kHeartbeat(15);

constexpr std::string_view kFeedHead =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
    "X-Content-Type-Options: nosniff\r\nConnection: close\r\n\r\n: connected\n\n";

std::string_view Reason(int status) {
  return View(http::obsolete_reason(static_cast<http::status>(status)));
}

std::string AnswerHead(const HttpResponse& response, bool keepsAlive) {
  std::string head = "HTTP/1.1 " + std::to_string(response.status) + ' ';
  head.append(Reason(response.status)).append("\r\n");
  const auto add = [&head](std::string_view name, std::string_view value) {
    head.append(name).append(": ").append(value).append("\r\n");
  };
  // Neither status has a body.
  if (response.status != 204 && response.status != 304) {
    add("Content-Length", std::to_string(response.body.size()));
  }
  if (!response.contentType.empty()) {
    add("Content-Type", response.contentType);
  }
  for (const auto& [name, value] : response.headers) {
    add(name, value);
  }
  add("Connection", keepsAlive ? "keep-alive" : "close");
  return head += "\r\n";
}

}  // namespace

inline void Connection::Refuse(int status) {
  phase_ = Phase::Working;
  parser_.reset();
  keepsAlive_ = false;
  hasUnread_ = true;
  HttpResponse response;
  response.status = status;
  response.contentType = "text/plain; charset=utf-8";
  response.body.append(Reason(status)).append("\n");
  Write(std::move(response));
}

inline void Connection::Write(HttpResponse response) {
  if (phase_ != Phase::Working) {
    return;
  }
  phase_ = Phase::Sending;
  ReleaseBody();
  keepsAlive_ = keepsAlive_ && !context_.isDraining;
  head_ = AnswerHead(response, keepsAlive_);
  const bool hasBody = !isHead_ && response.status != 204 && response.status != 304;
  body_ = hasBody ? std::move(response.body) : std::string();
  SetDeadline(Clock::now() + TransferTime(body_.size()));
  const std::array<net::const_buffer, 2> answer = {net::buffer(head_), net::buffer(body_)};
  net::async_write(wire_, answer, [self = shared_from_this()](const Error& failure, std::size_t) {
    self->OnWritten(failure);
  });
}

inline void Connection::OnWritten(const Error& failure) {
  head_ = {};
  body_ = {};
  if (failure || phase_ == Phase::Closed) {
    return Close();
  }
  keepsAlive_ ? AwaitRequest() : Finish();
}

inline void Connection::Finish() {
  phase_ = Phase::Ending;
  SetDeadline(Clock::now() + kEndTime);
  if (!wire_.IsSecure()) {
    return ShutDownSend();
  }
  wire_.ShutDownTls([self = shared_from_this()](const Error&) { self->ShutDownSend(); });
}

// Closing a socket with unread bytes would reset the connection and take the answer away from the
// client.
inline void Connection::ShutDownSend() {
  Error ignored;
  wire_.Raw().shutdown(tcp::socket::shutdown_send, ignored);
  hasUnread_ ? Discard() : Close();
}

inline void Connection::Discard() {
  wire_.Raw().async_read_some(
      buffer_.prepare(kFirstRead), [self = shared_from_this()](const Error& failure, std::size_t) {
        failure || self->phase_ == Phase::Closed ? self->Close() : self->Discard();
      });
}

inline void Connection::Close() {
  phase_ = Phase::Closed;
  Error ignored;
  wire_.Raw().close(ignored);
  timer_.cancel();
}

inline void Connection::FollowNow(LiveFeed& feed) {
  if (context_.isDraining) {
    return Close();
  }
  phase_ = Phase::Following;
  ReleaseBody();
  // Before the head: a client that has read it receives every event from then on.
  feed.Add(weak_from_this());
  QueueEvent(std::make_shared<const std::string>(kFeedHead));
  Discard();
}

inline void Connection::QueueEvent(std::shared_ptr<const std::string> event) {
  if (phase_ != Phase::Following) {
    return;
  }
  eventBytes_ += event->size();
  events_.push_back(std::move(event));
  if (events_.size() > context_.limits.maxWaitingEvents ||
      eventBytes_ > context_.limits.maxWaitingEventBytes) {
    return Close();
  }
  if (!isWriting_) {
    WriteEvents();
  }
}

inline void Connection::WriteEvents() {
  if (phase_ != Phase::Following) {
    return Close();
  }
  isWriting_ = !events_.empty();
  if (!isWriting_) {
    return SetDeadline(Clock::now() + kHeartbeat);
  }
  head_.clear();
  for (const auto& event : std::exchange(events_, {})) {
    head_ += *event;
  }
  eventBytes_ = 0;
  SetDeadline(Clock::now() + TransferTime(head_.size()));
  net::async_write(wire_, net::buffer(head_),
                   [self = shared_from_this()](const Error& failure, std::size_t) {
                     failure ? self->Close() : self->WriteEvents();
                   });
}

inline void Connection::SetDeadline(Clock::time_point time) {
  timer_.expires_at(time);
  timer_.async_wait([self = shared_from_this()](const Error& failure) {
    // A later deadline may have been set, or the request handed over, after this one had passed.
    if (!failure && self->phase_ != Phase::Working && self->timer_.expiry() <= Clock::now()) {
      self->OnDeadline();
    }
  });
}

inline void Connection::OnDeadline() {
  if (phase_ == Phase::Receiving) {
    isTimedOut_ = true;
    Error ignored;
    wire_.Raw().cancel(ignored);
  } else if (phase_ == Phase::Following && !isWriting_) {
    // Finds out whether the client is still there.
    QueueEvent(std::make_shared<const std::string>(":\n\n"));
  } else {
    Close();
  }
}

inline Connection::Clock::duration Connection::TransferTime(std::size_t bytes) const {
  return context_.limits.transferTime + std::chrono::seconds(bytes / context_.limits.minRate);
}

}  // namespace Gateway
