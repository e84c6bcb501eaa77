// Sends bodies with HTTP POST and fetches a text with HTTP GET, over plain HTTP or TLS. The
// certificate checks of TLS are relaxed on purpose, except in a build with TAV_VERIFY_CERTIFICATES.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "platform/http.h"
#include "transport/data_sender.h"

namespace Tav {

// Keeps the session and the connection open from Open to Close, so that all bodies share one TCP
// connection if the server keeps it.
class HttpDataSender final : public DataSender, private Platform::HttpObserver {
 public:
  // Milliseconds for reading the body of one response, checked before each piece of 256 bytes: a
  // server that sends a byte now and then cannot block the reader for ever. It takes less than a
  // kilobyte a second to exceed this.
  static constexpr int kMaxReading = 60 * 1000;

  // Uses at most 127 characters of URL; Open checks it.
  explicit HttpDataSender(std::string url, int maxReading = kMaxReading);

  // Posts the compressed body. 0 only if the server itself responds with status 200: redirections
  // are not followed.
  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  // Does not access the network: an unreachable server shows in Send.
  int32_t Open() override;
  void Close() override;
  // The body of the response, whatever its status; empty for a redirection (3xx) and if it is
  // longer than kMaxResponse.
  std::string Fetch() override;
  // Also limits the reading of a response as a whole.
  void LimitWaits(int milliseconds) override;
  SendOutcome LastOutcome() const override { return outcome_; }
  void ReportTo(SendingProgress* progress) override { progress_ = progress; }

 private:
  void OnProgress() override;
  Platform::HttpTimeouts Timeouts() const;
  bool OpenSession();
  bool CrackUrl();
  bool OpenConnection();
  int32_t SendRequest(const void* body, size_t length, bool closeConnection);
  bool OpenRequest(const char* verb);
  bool Exchange(const void* body, size_t length, bool closeConnection);

  SendOutcome outcome_;
  SendingProgress* progress_ = nullptr;
  std::string response_;
  std::string url_;
  // Each handle is made from the one before it and destroyed first.
  Platform::HttpSession session_;
  Platform::HttpConnection connection_;
  Platform::HttpRequest request_;
  Platform::HttpScheme scheme_ = Platform::HttpScheme::None;  // set once the URL is cracked
  int port_ = 0;
  std::string host_;
  std::string objectPath_;
  const int maxReading_;
  int waitLimit_ = std::numeric_limits<int>::max();
};

}  // namespace Tav
