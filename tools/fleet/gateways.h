// The gateways as the clients see them: there or gone, with room or without.
#pragma once

#include <cstdint>

#include "fleet/scenario.h"

namespace Fleet {

enum class Answer : uint8_t {
  Accepted,
  TooMany,  // 503: no room in this second
  Gone,
};

class Gateways {
 public:
  // Borrows the model.
  explicit Gateways(const GatewayModel& model) : model_(model) {}

  // Before the first request of a second.
  void BeginSecond(int64_t time) {
    taken_ = 0;
    gone_ = false;
    for (const GatewayModel::Outage& outage : model_.outages) {
      gone_ = gone_ || (time >= outage.begin && time < outage.end);
    }
  }

  Answer Ask() {
    if (gone_) {
      return Answer::Gone;
    }
    if (model_.capacity > 0 && taken_ >= model_.capacity) {
      return Answer::TooMany;
    }
    ++taken_;
    return Answer::Accepted;
  }

 private:
  const GatewayModel& model_;
  int64_t taken_ = 0;
  bool gone_ = false;
};

}  // namespace Fleet
