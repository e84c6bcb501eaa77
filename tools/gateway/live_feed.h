// Server-sent events: what is published reaches every client that follows GET /api/live.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Gateway {

// Thread-safe; no function blocks.
class LiveFeed {
 public:
  // A client's connection.
  class Follower {
   public:
    Follower() = default;
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;
    virtual ~Follower() = default;
    // Queues the bytes of one event. Must not block; a client that reads too slowly is dropped.
    virtual void Deliver(std::shared_ptr<const std::string> event) = 0;
  };

  // Sends one event of the given name to all clients. Each line of `data` becomes a line of the
  // event. Nothing is kept for clients that come later.
  void Publish(std::string_view name, std::string_view data);

  // Whether anybody would receive an event.
  bool HasFollowers() const;

  // Follows until it is destroyed.
  void Add(std::weak_ptr<Follower> follower);

 private:
  mutable std::mutex lock_;
  std::vector<std::weak_ptr<Follower>> followers_;
};

}  // namespace Gateway
