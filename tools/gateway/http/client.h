// A blocking HTTP client for the project's tools and tests: one connection, kept open between
// requests, with TLS if the URL is of HTTPS. Certificates are not verified.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/http/client_stream.h"

namespace Gateway {

struct ClientAnswer {
  int status = 0;                                           // 0 if there is none
  std::map<std::string, std::string, std::less<>> headers;  // names in lower case
  std::string body;
};

// Used by one thread at a time, except End.
class HttpClient {
 public:
  using Fields = std::multimap<std::string, std::string>;
  // Sends a part of the body by calling its argument; false when there is no more.
  using BodySource = std::function<bool(const std::function<void(std::string_view)>& send)>;

  // "https://127.0.0.1:8443"; a path is ignored.
  explicit HttpClient(const std::string& url);
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;
  ~HttpClient();

  // Each blocks until the answer is complete, the connection has failed or nothing has arrived for
  // the time-out. A request that fails on a connection that was kept open is not repeated.
  ClientAnswer Get(const std::string& path, const Fields& headers = {});
  ClientAnswer Post(const std::string& path, const std::string& body, const Fields& headers = {});
  ClientAnswer Send(const std::string& method,
                    const std::string& path,
                    const std::optional<std::string>& body,
                    const Fields& headers);
  // With Transfer-Encoding: chunked.
  ClientAnswer PostChunks(const std::string& path, const BodySource& source, const Fields& headers);

  // Sends bytes as they are, on an open connection. False on failure.
  bool SendRaw(std::string_view bytes);
  // Reads what comes next as an answer.
  ClientAnswer ReadAnswer(bool hasBody = true);
  // Reads up to `size` bytes; empty at the end of the connection, on failure or after the time-out.
  std::string ReadSome(std::size_t size);
  // Blocks until the server closes the connection, which has no TLS; false if something else
  // arrives, or nothing within the time-out.
  bool AwaitClose();

  // Asks the server to close the connection after each answer.
  void SetKeepAlive(bool keepAlive) { keepAlive_ = keepAlive; }
  void SetTimeout(std::chrono::milliseconds timeout);

  // Ends the connection; a request that waits on another thread fails.
  void End();

 private:
  bool Connect();
  void Disconnect();
  std::string Head(const std::string& method, const std::string& path, const Fields& headers) const;
  bool ReadHead(ClientAnswer& answer);
  bool ReadBody(ClientAnswer& answer);
  bool ReadChunks(std::string& body);
  bool Fill();
  bool Need(std::size_t size);
  std::optional<std::string> TakeLine();

  const std::string authority_;
  const std::unique_ptr<ClientStream> stream_;  // null: this build has no TLS
  bool isConnected_ = false;
  bool keepAlive_ = true;
  std::chrono::milliseconds timeout_ = std::chrono::seconds(30);
  std::string received_;  // and not yet used
};

}  // namespace Gateway
