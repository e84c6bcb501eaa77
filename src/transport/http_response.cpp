#include "transport/http_response.h"

#include <algorithm>
#include <cstddef>

#include "platform/clock.h"
#include "platform/error.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr size_t kMaxResponse = DataSender::kMaxResponse;
constexpr size_t kPieceSize = 256;
constexpr uint32_t kStatusOk = 200;
constexpr uint32_t kMaxRetryAfter = 3600;  // seconds
constexpr uint32_t kTimedOut = 12002;      // the last error after one of the system's own time-outs

bool ReadPiece(Platform::HttpRequest& request,
               char* piece,
               size_t size,
               size_t* count,
               int64_t end) {
  if (Platform::MonotonicMilliseconds() >= end) {
    Platform::SetLastError(kTimedOut);
    return false;
  }
  return request.Read(piece, size, count);
}

}  // namespace

std::optional<SendOutcome> ReadHttpOutcome(Platform::HttpRequest& request) {
  TAV_TRACE("Querying HTTP headers");
  uint32_t status = 0;
  if (!request.QueryStatus(&status)) {
    LogError("$Error retrieving HTTP status response");
    return std::nullopt;
  }
  TAV_TRACE("Response is %d", static_cast<int>(status));
  if (status != kStatusOk) {
    LogWarning("Response from HTTP is not OK. Got %d instead", static_cast<int>(status));
  }
  uint32_t retryAfter = 0;
  const bool asks = request.QueryRetryAfter(&retryAfter);
  return OutcomeOfStatus(static_cast<int>(status),
                         asks ? static_cast<int>(std::min(retryAfter, kMaxRetryAfter)) : 0);
}

std::string ReadHttpBody(Platform::HttpRequest& request, int64_t end) {
  std::string body;
  char piece[kPieceSize];
  size_t count = 0;
  do {
    if (!ReadPiece(request, piece, std::min(sizeof piece, kMaxResponse + 1 - body.size()), &count,
                   end)) {
      LogError("$Error reading http response data");
      break;
    }
    body.append(piece, count);
  } while (count > 0 && body.size() <= kMaxResponse);
  if (!body.empty()) {
    TAV_TRACE("Read %d bytes from server", static_cast<int>(body.size()));
  }
  if (body.size() > kMaxResponse) {
    body = {};
    LogWarning("Response from HTTP is too long. Stopped reading it");
  }
  return body;
}

}  // namespace Tav
