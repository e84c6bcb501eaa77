#include "platform/posix/http_response.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace Tav::Platform {

namespace {

constexpr size_t kMaxHead = 64 * 1024;

std::optional<uint64_t> ParseNumber(std::string_view text, int base) {
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

bool SameWord(std::string_view text, std::string_view word) {
  return text.size() == word.size() && strncasecmp(text.data(), word.data(), word.size()) == 0;
}

}  // namespace

bool HttpResponse::ReadHead(Socket* socket, int limit) {
  do {
    if (!ReadStatusLine(socket, limit) || !ReadHeaders(socket, limit)) {
      status_ = 0;
      return false;
    }
  } while (status_ < 200);
  if (status_ == 204 || status_ == 304) {
    length_ = Length::None;
  }
  return true;
}

bool HttpResponse::ReadStatusLine(Socket* socket, int limit) {
  std::string line;
  if (!ReadLine(socket, &line, limit)) {
    return false;
  }
  const bool known = line.starts_with("HTTP/1.") && line.size() >= 12;
  const std::optional<uint64_t> code =
      known ? ParseNumber(std::string_view(line).substr(9, 3), 10) : std::nullopt;
  if (!code) {
    return FailWith(HttpError::kInvalidServerResponse);
  }
  status_ = static_cast<uint32_t>(*code);
  keepAlive_ = !line.starts_with("HTTP/1.0");
  length_ = Length::UntilClose;
  return true;
}

bool HttpResponse::ReadHeaders(Socket* socket, int limit) {
  std::string line;
  for (size_t total = 0; total < kMaxHead; total += line.size()) {
    if (!ReadLine(socket, &line, limit)) {
      return false;
    }
    if (line.empty()) {
      return true;
    }
    ParseHeader(line);
  }
  return FailWith(HttpError::kInvalidServerResponse);
}

void HttpResponse::ParseHeader(std::string_view line) {
  const std::string_view name = line.substr(0, line.find(':'));
  std::string_view value = line.substr(std::min(name.size() + 1, line.size()));
  value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
  if (SameWord(name, "Connection")) {
    keepAlive_ = keepAlive_ && !SameWord(value, "close");
  } else if (SameWord(name, "Transfer-Encoding") && SameWord(value, "chunked")) {
    length_ = Length::Chunked;
    left_ = 0;
  } else if (SameWord(name, "Retry-After")) {
    if (const std::optional<uint64_t> seconds = ParseNumber(value, 10)) {
      retryAfter_ = static_cast<uint32_t>(std::min<uint64_t>(*seconds, UINT32_MAX));
    }
  } else if (SameWord(name, "Content-Length") && length_ != Length::Chunked) {
    length_ = Length::Counted;
    left_ = ParseNumber(value, 10).value_or(0);
  }
}

bool HttpResponse::ReadLine(Socket* socket, std::string* line, int limit) {
  size_t end = 0;
  while ((end = ahead_.find("\r\n")) == std::string::npos) {
    char piece[4096];
    size_t count = 0;
    if (!socket->Read(piece, sizeof piece, &count, limit)) {
      return false;
    }
    if (count == 0 || ahead_.size() > kMaxHead) {
      return FailWith(HttpError::kInvalidServerResponse);
    }
    ahead_.append(piece, count);
  }
  *line = ahead_.substr(0, end);
  ahead_.erase(0, end + 2);
  return true;
}

// Moves to the data of the next chunk; after the last one `left_` is 0.
bool HttpResponse::NextChunk(Socket* socket, int limit) {
  std::string line;
  if (inChunks_ && !ReadLine(socket, &line, limit)) {
    return false;
  }
  if (!ReadLine(socket, &line, limit)) {
    return false;
  }
  const std::optional<uint64_t> size = ParseNumber(line, 16);
  if (!size) {
    return FailWith(HttpError::kInvalidServerResponse);
  }
  inChunks_ = true;
  left_ = *size;
  return left_ > 0 || ReadHeaders(socket, limit);
}

bool HttpResponse::ReadBody(Socket* socket, char* buffer, size_t size, size_t* count, int limit) {
  *count = 0;
  if (!ended_ && length_ == Length::Chunked && left_ == 0 && !NextChunk(socket, limit)) {
    return false;
  }
  const bool bounded = length_ != Length::UntilClose;
  if (ended_ || length_ == Length::None || (bounded && left_ == 0)) {
    ended_ = true;
    return true;
  }
  const size_t wanted = bounded ? static_cast<size_t>(std::min<uint64_t>(size, left_)) : size;
  if (!ahead_.empty()) {
    *count = ahead_.copy(buffer, wanted);
    ahead_.erase(0, *count);
  } else if (!socket->Read(buffer, wanted, count, limit)) {
    return false;
  }
  if (*count == 0) {
    ended_ = !bounded;
    keepAlive_ = false;
    return ended_ || FailWith(HttpError::kConnectionError);
  }
  left_ -= bounded ? *count : 0;
  return true;
}

}  // namespace Tav::Platform
