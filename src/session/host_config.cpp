#include "session/host_config.h"

#include "model/event_size.h"
#include "session/session_environment.h"
#include "util/hash.h"
#include "util/log_text.h"
#include "util/logger.h"

namespace Tav {

namespace {

// The default user id distinguishes a customer's users from those of other customers.
void CompleteUserId(LibraryConfig& config) {
  if (config.customerId.empty()) {
    config.userId.clear();
  } else if (config.userId.empty()) {
    config.userId = HashTextToHex(config.customerId);
    TAV_DEBUG("SM: Customer ID was provided without User ID. Generated default User ID: %s",
              Masked(config.userId).Text());
  }
}

void TraceProductValues(const PendingProductValues* values) {
  if (values == nullptr) {
    return;
  }
  for (const auto& [key, pending] : *values) {
    TAV_TRACE("SM: ProdEnv: key: %s, type: %d, val(str): %s, val(num): %f", key.c_str(),
              static_cast<int>(pending.value.type), pending.value.text.c_str(),
              pending.value.number);
  }
}

}  // namespace

void PrepareHostConfig(LibraryConfig& config) {
  CompleteUserId(config);
  TraceProductValues(config.productValues.get());
  if (config.maxEventSize < 1) {
    config.maxEventSize = EventSize::kDefaultMaximum;
  }
  EventSize::SetSessionEnvironment(SessionEnvironmentSize(config.sessionEnvironment.get()));
  EventSize::SetMaximum(config.maxEventSize);
  TAV_TRACE("SM: Setting maxEventSize to %d in JsonData", config.maxEventSize);
}

}  // namespace Tav
