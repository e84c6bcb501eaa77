// The connection of an HttpClient. Blocking; certificates are not verified.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace Gateway {

// Used by one thread at a time, except End.
class ClientStream {
 public:
  virtual ~ClientStream() = default;

  // "127.0.0.1:8080"
  virtual bool Connect(const std::string& authority) = 0;
  virtual bool Write(std::string_view bytes) = 0;
  // Appends what has arrived, one byte at least. False at the end of the connection, on failure or
  // after the time-out.
  virtual bool Read(std::string& bytes) = 0;
  virtual void SetTimeout(std::chrono::milliseconds timeout) = 0;
  virtual void Close() = 0;

  // Ends the connection; a read that waits on another thread fails.
  virtual void End() = 0;
};

std::unique_ptr<ClientStream> NewPlainStream();
// Null in builds without OpenSSL.
std::unique_ptr<ClientStream> NewTlsStream();

}  // namespace Gateway
