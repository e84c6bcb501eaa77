// Reads the server's answer to an HTTP request whose response has arrived.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/http.h"
#include "transport/data_sender.h"

namespace Tav {

// None if the status cannot be read. Logs every status but 200. At most an hour of Retry-After
// counts.
std::optional<SendOutcome> ReadHttpOutcome(Platform::HttpRequest& request);

constexpr bool IsRedirection(int status) {
  return status >= 300 && status < 400;
}

// Empty for a body that is longer than DataSender::kMaxResponse. After an error, or at `end`, the
// part that was read. `end` is on the scale of Platform::MonotonicMilliseconds and is checked
// before each piece of 256 bytes. Throws std::bad_alloc.
std::string ReadHttpBody(Platform::HttpRequest& request, int64_t end);

}  // namespace Tav
