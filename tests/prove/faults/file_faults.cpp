#include "prove/faults/file_faults.h"

#include <cerrno>
#include <iterator>
#include <mutex>
#include <string>

#include "platform/error.h"
#include "prove/faults/fault_point.h"
#include "prove/lives/evidence.h"

namespace Tav::Testing {

namespace {

constexpr size_t kOperationCount = std::size(kOperations);

std::mutex lock;
const Fault* armed = nullptr;
int leftUntilFault = 0;
bool stays = false;
bool counting = false;
int counts[kOperationCount] = {};

}  // namespace

Effect NextEffect(Operation operation) {
  const std::lock_guard guard(lock);
  if (!counting) {
    return Effect::None;
  }
  ++counts[static_cast<size_t>(operation)];
  if (leftUntilFault == 0 || !armed->Meets(operation)) {
    return Effect::None;
  }
  if (leftUntilFault > 1) {
    --leftUntilFault;
    return Effect::None;
  }
  if (!stays) {
    leftUntilFault = 0;
  }
  Add(Fact::Hit, kOperations[static_cast<size_t>(operation)]);
  return armed->effect;
}

void SetReason(Effect effect) {
  struct Reason {
    Effect effect;
    int number;
    uint32_t windows;
  };
  constexpr Reason kReasons[] = {{Effect::Deny, EACCES, 5},
                                 {Effect::Share, EACCES, 32},
                                 {Effect::Fill, ENOSPC, 112},
                                 {Effect::Shorten, ENOSPC, 112},
                                 {Effect::Break, EIO, 1117}};
  for (const Reason& reason : kReasons) {
    if (reason.effect == effect) {
      Platform::SetLastError(reason.windows);
      errno = reason.number;
    }
  }
}

void Arm(const Fault& fault, int ordinal, bool lasts) {
  const std::lock_guard guard(lock);
  armed = &fault;
  leftUntilFault = ordinal;
  stays = lasts;
  counting = true;
}

void Disarm() {
  const std::lock_guard guard(lock);
  counting = false;
  for (const Fault& fault : kFaults) {
    int met = 0;
    for (size_t i = 0; i < kOperationCount; ++i) {
      met += fault.Meets(static_cast<Operation>(i)) ? counts[i] : 0;
    }
    Add(Fact::Counted, std::string(fault.name) + ' ' + std::to_string(met));
  }
}

}  // namespace Tav::Testing
