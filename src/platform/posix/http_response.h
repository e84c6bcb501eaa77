// Reads one HTTP/1.1 response from a socket: the status, the headers that determine the length of
// the body, and the body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/http_socket.h"

namespace Tav::Platform {

class HttpResponse {
 public:
  // Skips interim responses. `limit` is in milliseconds for each wait, here and below. A failure
  // sets the last error.
  bool ReadHead(Socket* socket, int limit);

  // 0 before ReadHead has succeeded.
  uint32_t Status() const { return status_; }
  // In seconds; none if the header is missing or no number.
  std::optional<uint32_t> RetryAfter() const { return retryAfter_; }

  // Reads up to `size` bytes of the body; `*count` is 0 at its end.
  bool ReadBody(Socket* socket, char* buffer, size_t size, size_t* count, int limit);

  // True if the body has ended and the connection can carry another request.
  bool Reusable() const { return ended_ && keepAlive_ && ahead_.empty(); }

 private:
  enum class Length { None, Counted, Chunked, UntilClose };

  bool ReadStatusLine(Socket* socket, int limit);
  bool ReadHeaders(Socket* socket, int limit);
  void ParseHeader(std::string_view line);
  bool ReadLine(Socket* socket, std::string* line, int limit);
  bool NextChunk(Socket* socket, int limit);

  uint32_t status_ = 0;
  std::optional<uint32_t> retryAfter_;
  Length length_ = Length::None;
  uint64_t left_ = 0;      // bytes left of the body or of the current chunk
  bool inChunks_ = false;  // a chunk has begun: a line end follows its data
  bool keepAlive_ = true;
  bool ended_ = false;
  std::string ahead_;  // bytes received and not yet consumed
};

}  // namespace Tav::Platform
