// Reads one answer of an HTTP/1.1 server off a socket: status, the few headers that decide how
// long the body is, and the body itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/posix/http_socket.h"

namespace Tav::Platform {

class HttpResponse {
 public:
  // Skips interim answers. `limit` is milliseconds for each wait, here and below; failures leave
  // their reason in the last error.
  bool ReadHead(Socket* socket, int limit);

  // 0 until ReadHead has succeeded.
  uint32_t Status() const { return status_; }

  // Up to `size` bytes of the body; `*count` is 0 at its end.
  bool ReadBody(Socket* socket, char* buffer, size_t size, size_t* count, int limit);

  // True once the body has ended and the server will take another request on the connection.
  bool Reusable() const { return ended_ && keepAlive_ && ahead_.empty(); }

 private:
  enum class Length { None, Counted, Chunked, UntilClose };

  bool ReadStatusLine(Socket* socket, int limit);
  bool ReadHeaders(Socket* socket, int limit);
  void TakeHeader(std::string_view line);
  bool ReadLine(Socket* socket, std::string* line, int limit);
  bool NextChunk(Socket* socket, int limit);

  uint32_t status_ = 0;
  Length length_ = Length::None;
  uint64_t left_ = 0;      // of the body, or of the current chunk
  bool inChunks_ = false;  // a chunk has begun, so that a line end follows its data
  bool keepAlive_ = true;
  bool ended_ = false;
  std::string ahead_;  // received and not yet consumed
};

}  // namespace Tav::Platform
