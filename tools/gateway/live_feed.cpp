#include "gateway/live_feed.h"

#include <algorithm>
#include <utility>

namespace Gateway {
namespace {

std::string EventText(std::string_view name, std::string_view data) {
  std::string text = "event: ";
  text.append(name).append("\n");
  for (;;) {
    const std::size_t end = data.find_first_of("\r\n");
    text.append("data: ").append(data.substr(0, end)).append("\n");
    if (end == std::string_view::npos) {
      return text += '\n';
    }
    data.remove_prefix(end + 1);
  }
}

}  // namespace

void LiveFeed::Publish(std::string_view name, std::string_view data) {
  std::vector<std::shared_ptr<Follower>> present;
  {
    const std::scoped_lock guard(lock_);
    std::erase_if(followers_, [&](const std::weak_ptr<Follower>& follower) {
      if (auto kept = follower.lock()) {
        present.push_back(std::move(kept));
        return false;
      }
      return true;
    });
  }
  if (present.empty()) {
    return;
  }
  const auto event = std::make_shared<const std::string>(EventText(name, data));
  for (const auto& follower : present) {
    follower->Deliver(event);
  }
}

bool LiveFeed::HasFollowers() const {
  const std::scoped_lock guard(lock_);
  return std::ranges::any_of(followers_, [](const auto& follower) { return !follower.expired(); });
}

void LiveFeed::Add(std::weak_ptr<Follower> follower) {
  const std::scoped_lock guard(lock_);
  followers_.push_back(std::move(follower));
}

}  // namespace Gateway
