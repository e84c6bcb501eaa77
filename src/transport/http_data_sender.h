// Sends bodies with HTTP POST and fetches a text with HTTP GET, over plain HTTP or over TLS whose
// certificate checks are relaxed on purpose.
#pragma once

#include <limits>

#include "platform/http.h"
#include "transport/data_sender.h"

namespace Tav {

// Session and connection stay open from Open to Close, so that the bodies sent between share one
// TCP connection where the server keeps it.
class HttpDataSender : public DataSender {
 public:
  // The limits of each wait unless SetTimeouts says otherwise.
  static constexpr Platform::HttpTimeouts kTimeouts{.resolve = 3000,
                                                    .connect = 3000,
                                                    .send = 30000,
                                                    .receive = 30000,
                                                    .response = 30000};

  // An answer is read up to this many bytes, so that a server gone astray cannot fill the host's
  // memory. The longest real answer, a settings document, takes some kilobytes.
  static constexpr size_t kMaxResponse = 8 * 1024 * 1024;

  // Milliseconds after which no more of an answer is read, so that a server that sends a little now
  // and then cannot keep its reader for ever. Looked at before each piece of 256 bytes. No real
  // answer takes longer: it would come at less than a kilobyte a second.
  static constexpr int kLongestReading = 60 * 1000;

  // `url` is looked at by Open. 127 characters at most can be used.
  explicit HttpDataSender(std::string url);
  ~HttpDataSender() override;

  // Limits for the requests begun from now on.
  void SetTimeouts(const Platform::HttpTimeouts& timeouts);
  // For the answers read from now on, instead of kLongestReading.
  void SetLongestReading(int milliseconds) { longestReading_ = milliseconds; }

  // Posts the body, which is already compressed. 0 exactly when the server answers 200.
  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  // Touches no network: an unreachable server shows in Send.
  int32_t Open() override;
  void Close() override;
  // The answer's body, whatever its status.
  std::string Fetch() override;
  // Also for the reading of an answer as a whole, and for requests of a session opened earlier.
  void LimitWaits(int milliseconds) override;

 private:
  Platform::HttpTimeouts Timeouts() const;
  bool OpenSession();
  bool CrackUrl();
  bool OpenConnection();
  int32_t SendRequest(const void* body, size_t length, bool closeConnection);
  bool OpenRequest(const char* verb);
  bool Exchange(const void* body, size_t length, bool closeConnection);
  void ReadResponse();
  bool ReadPiece(char* piece, size_t size, size_t* count, int64_t end);

  std::string response_;
  std::string url_;
  // Each is made from the one before and destroyed first.
  Platform::HttpSession session_;
  Platform::HttpConnection connection_;
  Platform::HttpRequest request_;
  int scheme_ = 0;  // 0 until the URL has been taken apart
  int port_ = 0;
  std::string host_;
  std::string objectPath_;
  Platform::HttpTimeouts timeouts_ = kTimeouts;
  int longestReading_ = kLongestReading;
  int waitLimit_ = std::numeric_limits<int>::max();
};

}  // namespace Tav
