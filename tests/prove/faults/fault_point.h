// What each replaced operation passes through.
#pragma once

#include "platform/file.h"
#include "prove/faults/file_faults.h"
#include "prove/lives/process.h"

namespace Tav::Testing {

// Counts the operation. What happens to it.
Effect NextEffect(Operation operation);

// Sets the thread's last errors.
void SetReason(Effect effect);

// `real` is the operation, `half` its first half, `failure` what takes its place if it fails.
template <typename Real, typename Half, typename Failure>
auto Perform(Operation operation, Real real, Half half, Failure failure) -> decltype(real()) {
  switch (const Effect effect = NextEffect(operation)) {
    case Effect::None:
      return real();
    case Effect::KillBefore:
      Die();
    case Effect::KillAfter:
      real();
      Die();
    case Effect::KillHalfway:
      half();
      Die();
    default: {
      const auto result = effect == Effect::Shorten ? half() : failure(effect);
      SetReason(effect);
      return result;
    }
  }
}

template <typename Real, typename Failure>
auto Perform(Operation operation, Real real, Failure failure) -> decltype(real()) {
  return Perform(operation, real, real, failure);
}

template <typename Real>
auto Try(Operation operation, Real real) -> decltype(real()) {
  return Perform(operation, real, [](Effect) { return decltype(real())(); });
}

}  // namespace Tav::Testing
