// A TCP connection with deadlines.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

struct addrinfo;  // NOLINT(readability-identifier-naming): the system's

namespace Gateway {

// Not thread-safe, except End. Blocks until the deadline at most. After a failure the connection is
// closed.
class TcpStream {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  TcpStream() = default;
  TcpStream(const TcpStream&) = delete;
  TcpStream& operator=(const TcpStream&) = delete;
  ~TcpStream() { Close(); }

  // `port` is a number. Resolving a name that is no address may take longer than the deadline.
  // Returns the reason of a failure.
  std::string Connect(const std::string& host, const std::string& port, Deadline deadline);
  bool Send(std::string_view bytes, Deadline deadline);
  // Appends what has arrived, one byte at least. False at the end of the stream or after a failure.
  bool Receive(std::string& bytes, Deadline deadline);
  // Open, with nothing to read and not closed by the other side: fit for another request.
  bool IsIdle() const;
  void Close();
  // Ends the connection, on any thread: a call that waits fails when the other side has closed,
  // too.
  void End();

 private:
  // Connects to one address. Returns the system's error, or 0.
  int Start(const addrinfo& address, Deadline deadline);
  bool Await(bool forWriting, Deadline deadline) const;

  std::mutex lock_;             // guards the socket against End
  std::ptrdiff_t socket_ = -1;  // negative: none
};

}  // namespace Gateway
