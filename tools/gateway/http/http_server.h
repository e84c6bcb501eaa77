// An HTTP server: reads requests within limits, hands each to a handler and sends its answer, which
// may come later and from any thread. Independent of records.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "gateway/certificate.h"
#include "gateway/http/exchange.h"
#include "gateway/http/message.h"

namespace Gateway {

struct HttpLimits {
  using Duration = std::chrono::milliseconds;

  std::size_t maxBodyBytes = std::size_t{64} * 1024 * 1024;
  // Bodies of all requests that are received or handled at the same time.
  std::size_t maxBufferedBytes = std::size_t{1024} * 1024 * 1024;
  std::uint32_t maxHeadBytes = 32 * 1024;
  std::size_t maxHeaders = 100;
  std::size_t maxConnections = 10'000;
  // For the TLS handshake, and from the first byte of a request to the end of its headers.
  Duration headTime = std::chrono::seconds(20);
  // A body, and an answer, may take this time and one second more for each `minRate` bytes.
  Duration transferTime = std::chrono::seconds(30);
  std::size_t minRate = 1024;
  // Between two requests. Clients close their connections long before.
  Duration idleTime = std::chrono::minutes(5);
  // For requests in progress when the server stops.
  Duration drainTime = std::chrono::seconds(10);
  // Events that wait for a client of a live feed.
  std::size_t maxWaitingEvents = 1000;
  std::size_t maxWaitingEventBytes = std::size_t{8} * 1024 * 1024;
};

class HttpServer {
 public:
  // Called on an I/O thread for each request; must not block.
  using Handler = std::function<void(ExchangePtr)>;

  HttpServer(const HttpLimits& limits, Handler handler);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  // Run must have returned, and all exchanges must be gone.
  ~HttpServer();

  // Listens on the port of the address or host name; 0 selects a free one. With a context it speaks
  // HTTPS. Clients can connect from now on. Returns the port, or -1 on failure. Call it before Run.
  int Listen(const std::string& address, int port, SslContextPtr context, PortRole role);

  // Serves on two threads, this one included, until Stop has been called and the requests in
  // progress are answered. Call it once.
  void Run();

  // Stops accepting connections, ends those without a request in progress, held ones included, and
  // after HttpLimits::drainTime all others; a second call ends them at once. Does not block; any
  // thread.
  void Stop();

  // From now on SIGINT and SIGTERM call Stop. A second signal ends the process at once.
  void StopOnSignals();

  // Ends the connections of Exchange::Hold. Any thread.
  void EndHeld();

  // Calls `done` on an I/O thread: with true when the time is over, with false after CancelDelays
  // or Stop. Any thread.
  void After(std::chrono::milliseconds time, std::function<void(bool)> done);
  void CancelDelays();

 private:
  class Impl;

  const std::unique_ptr<Impl> impl_;
};

// Whether an address or host name means this machine only. False if it cannot be resolved.
bool IsLoopback(const std::string& address);

}  // namespace Gateway
