#include "transport/http_data_sender.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/clock.h"
#include "transport/http_response.h"
#include "util/logger.h"
#include "util/version.h"

namespace Tav {

namespace {

constexpr size_t kMaxUrl = 127;

constexpr Platform::HttpTimeouts kTimeouts{.resolve = 3000,
                                           .connect = 3000,
                                           .send = 30000,
                                           .receive = 30000,
                                           .response = 30000};

#ifdef TAV_VERIFY_CERTIFICATES
constexpr uint32_t kIgnoredCertificateFaults = 0;
#else
// Unknown authority 0x100, wrong usage 0x200, wrong name 0x1000, wrong date 0x2000: a record that
// arrives through a proxy with its own certificates is worth more than a record withheld.
constexpr uint32_t kIgnoredCertificateFaults = 0x3300;
#endif

std::string RequestHeaders(bool post, bool closeConnection) {
  std::string headers = std::string("X-SDKVersion: ") + kLibraryVersion;
  if (post) {
    headers +=
        "\r\nContent-Encoding: gzip"
        "\r\nX-Compressed: true"
        "\r\nContent-Type: application/json; charset=utf-8";
  }
  if (closeConnection) {
    headers += "\r\nConnection: close";
  }
  return headers;
}

// Logs the exception that is being handled.
void LogFailure() {
  LogException("", "Out of memory in HTTP request");
}

}  // namespace

HttpDataSender::HttpDataSender(std::string url, int maxReading)
    : url_(std::move(url)), maxReading_(maxReading) {}

void HttpDataSender::LimitWaits(int milliseconds) {
  waitLimit_ = std::max(milliseconds, 1);
}

Platform::HttpTimeouts HttpDataSender::Timeouts() const {
  const auto capped = [this](int milliseconds) { return std::min(milliseconds, waitLimit_); };
  return {.resolve = capped(kTimeouts.resolve),
          .connect = capped(kTimeouts.connect),
          .send = capped(kTimeouts.send),
          .receive = capped(kTimeouts.receive),
          .response = capped(kTimeouts.response)};
}

void HttpDataSender::OnProgress() {
  if (progress_ != nullptr) {
    progress_->Note();
  }
}

int32_t HttpDataSender::Open() try {
  return OpenSession() && CrackUrl() && OpenConnection() ? 0 : 1;
} catch (...) {
  LogFailure();
  return 1;
}

bool HttpDataSender::OpenSession() {
  if (session_) {
    return true;
  }
  TAV_TRACE("Creating HTTP session");
  const std::string userAgent = std::string("Analytics/") + kLibraryVersion;
  session_ = Platform::HttpSession::Open(userAgent.c_str());
  if (!session_) {
    LogError("$Cannot create HTTP session");
    return false;
  }
  session_.SetTimeouts(Timeouts());
  return true;
}

bool HttpDataSender::CrackUrl() {
  if (scheme_ != Platform::HttpScheme::None) {
    return true;
  }
  if (url_.size() > kMaxUrl) {
    LogError("URL too long");
    return false;
  }
  Platform::HttpUrl parts;
  if (!Platform::HttpCrackUrl(url_, &parts)) {
    LogError("$Cannot crack URL");
    return false;
  }
  TAV_TRACE("Cracked url into '%s', '%s', and '%s'", parts.host.c_str(), parts.path.c_str(),
            parts.extra.c_str());
  TAV_TRACE("Scheme is %d, port is %d", static_cast<int>(parts.scheme), parts.port);
  objectPath_ = parts.path + parts.extra;
  host_ = std::move(parts.host);
  port_ = parts.port;
  scheme_ = parts.scheme;
  return true;
}

bool HttpDataSender::OpenConnection() {
  if (connection_) {
    return true;
  }
  TAV_TRACE("Creating HTTP connection");
  connection_ = session_.Connect(host_, port_);
  if (!connection_) {
    LogError("$Cannot open HTTP connection");
    return false;
  }
  return true;
}

int32_t HttpDataSender::SendRequest(const void* body, size_t length, bool closeConnection) {
  request_.Close();
  outcome_ = {};
  if (!OpenRequest(length != 0 ? "POST" : "GET") || !Exchange(body, length, closeConnection)) {
    return 1;
  }
  const std::optional<SendOutcome> outcome = ReadHttpOutcome(request_);
  if (!outcome) {
    return 1;
  }
  outcome_ = *outcome;
  response_ =
      ReadHttpBody(request_, Platform::MonotonicMilliseconds() + std::min(maxReading_, waitLimit_));
  if (IsRedirection(outcome_.status)) {
    response_ = {};  // the page of whoever redirects
  }
  return outcome_.kind == SendOutcome::Kind::Accepted ? 0 : 1;
}

bool HttpDataSender::OpenRequest(const char* verb) {
  TAV_TRACE("Creating HTTP request");
  request_ =
      connection_.OpenRequest(verb, objectPath_, "text/*", scheme_ == Platform::HttpScheme::Https);
  if (!request_) {
    LogError("$Cannot create HTTP request");
    return false;
  }
  // The session's time-outs were set at Open; the limit may have changed since.
  request_.SetTimeouts(Timeouts());
  request_.SetSecurityFlags(kIgnoredCertificateFaults);
  return true;
}

bool HttpDataSender::Exchange(const void* body, size_t length, bool closeConnection) {
  const std::string headers = RequestHeaders(length != 0, closeConnection);
  TAV_TRACE("Sending HTTP request");
  if (!request_.Send(headers, body, length, this)) {
    LogError("$Error sending HTTP request");
    return false;
  }
  TAV_TRACE("Getting HTTP response");
  if (!request_.ReceiveResponse()) {
    LogError("$Error receiving HTTP response");
    return false;
  }
  return true;
}

int32_t HttpDataSender::Send(const void* body, size_t length, bool closeConnection) try {
  const int32_t result = SendRequest(body, length, closeConnection);
  response_ = {};
  return result;
} catch (...) {
  LogFailure();
  response_ = {};
  return 1;
}

std::string HttpDataSender::Fetch() try {
  if (Open() != 0) {
    return {};
  }
  SendRequest(nullptr, 0, true);
  Close();
  return std::exchange(response_, {});
} catch (...) {
  LogFailure();
  response_ = {};
  Close();
  return {};
}

void HttpDataSender::Close() {
  if (request_) {
    TAV_TRACE("Closing HTTP request");
    request_.Close();
  }
  if (connection_) {
    TAV_TRACE("Closing HTTP connection");
    connection_.Close();
  }
  if (session_) {
    TAV_TRACE("Closing HTTP session");
    session_.Close();
  }
}

}  // namespace Tav
