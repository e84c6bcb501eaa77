// One request and the way to answer it.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "gateway/http/message.h"
#include "gateway/live_feed.h"

namespace Gateway {

// The connection of a request, as its exchange sees it. Thread-safe; no function blocks.
class Answerer : public LiveFeed::Follower {
 public:
  virtual void Send(HttpResponse response) = 0;
  virtual void Drop() = 0;
  virtual void Hold() = 0;
  virtual void Follow(LiveFeed& feed) = 0;
  virtual bool MarkUsed() = 0;
};

// Used by one thread at a time. Exactly one of Answer, Drop, Hold and Follow ends it; if it is
// destroyed before, the connection is dropped.
class Exchange {
 public:
  Exchange(HttpRequest request, std::shared_ptr<Answerer> connection)
      : request_(std::move(request)), connection_(std::move(connection)) {}
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  ~Exchange() { Drop(); }

  const HttpRequest& Request() const { return request_; }
  // Moves the body out of the request.
  std::string TakeBody() { return std::move(request_.body); }

  // Marks the connection as used; true the first time.
  bool MarkConnectionUsed() { return connection_ && connection_->MarkUsed(); }

  void Answer(HttpResponse response) {
    if (const auto connection = std::exchange(connection_, nullptr)) {
      connection->Send(std::move(response));
    }
  }
  // Closes the connection without an answer.
  void Drop() {
    if (const auto connection = std::exchange(connection_, nullptr)) {
      connection->Drop();
    }
  }
  // Never answers: the connection stays open until the client closes it, HttpServer::EndHeld or
  // Stop.
  void Hold() {
    if (const auto connection = std::exchange(connection_, nullptr)) {
      connection->Hold();
    }
  }
  // Answers with server-sent events for as long as the client reads them.
  void Follow(LiveFeed& feed) {
    if (const auto connection = std::exchange(connection_, nullptr)) {
      connection->Follow(feed);
    }
  }

 private:
  HttpRequest request_;
  std::shared_ptr<Answerer> connection_;
};

using ExchangePtr = std::shared_ptr<Exchange>;

}  // namespace Gateway
