#include "gateway/store/clickhouse_client.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

namespace Gateway {
namespace {

constexpr std::size_t kMaxHeaderBytes = std::size_t{64} * 1024;
constexpr std::size_t kMaxAnswerBytes = std::size_t{64} * 1024 * 1024;

bool IsNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::optional<std::string> PercentDecode(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    unsigned byte = 0;
    const std::string_view digits = text.substr(i + 1, 2);
    const char* end = digits.data() + digits.size();
    if (digits.size() != 2 || std::from_chars(digits.data(), end, byte, 16).ptr != end) {
      return std::nullopt;
    }
    decoded += static_cast<char>(byte);
    i += 2;
  }
  return decoded;
}

// For a header's value.
bool IsPrintable(std::string_view text) {
  return std::ranges::none_of(text, [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

std::string FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// "HOST[:PORT]", the host of IPv6 in brackets.
bool ReadHost(std::string_view text, ClickHouseAddress& address) {
  const bool isBracketed = text.starts_with('[');
  const std::size_t end = isBracketed ? text.find(']') : text.find(':');
  address.host = isBracketed ? text.substr(1, end == text.npos ? 0 : end - 1) : text.substr(0, end);
  std::string_view rest = text.substr(std::min(text.size(), end));
  rest.remove_prefix(isBracketed && !rest.empty() ? 1 : 0);
  if (!rest.empty()) {
    unsigned port = 0;
    const char* last = rest.data() + rest.size();
    const bool isNumber = rest.front() == ':' && rest.size() > 1 &&
                          std::from_chars(rest.data() + 1, last, port).ptr == last;
    if (!isNumber || port == 0 || port > 65535) {
      return false;
    }
    address.port = std::to_string(port);
  }
  return !address.host.empty() && IsPrintable(address.host);
}

bool ReadUser(std::string_view text, ClickHouseAddress& address) {
  const std::size_t colon = text.find(':');
  const auto user = PercentDecode(text.substr(0, colon));
  const auto password =
      PercentDecode(colon == text.npos ? std::string_view{} : text.substr(colon + 1));
  if (!user || !password || !IsPrintable(*user) || !IsPrintable(*password)) {
    return false;
  }
  address.user = *user;
  address.password = *password;
  return true;
}

// The value of a header; `head` holds the status line and the headers.
std::string_view HeaderIn(std::string_view head, std::string_view name) {
  const auto isSame = [](char a, char b) { return (a | 0x20) == (b | 0x20); };
  for (std::size_t at = head.find("\r\n"); at != head.npos; at = head.find("\r\n", at)) {
    at += 2;
    std::string_view line = head.substr(at, head.find("\r\n", at) - at);
    if (line.size() > name.size() && line[name.size()] == ':' &&
        std::ranges::equal(line.substr(0, name.size()), name, isSame)) {
      line.remove_prefix(name.size() + 1);
      line.remove_prefix(std::min(line.size(), line.find_first_not_of(' ')));
      return line;
    }
  }
  return {};
}

// Reads one answer.
class AnswerReader {
 public:
  AnswerReader(TcpStream& stream, TcpStream::Deadline deadline)
      : stream_(stream), deadline_(deadline) {}

  ClickHouseReply Read() {
    std::size_t end = 0;
    while ((end = buffer_.find("\r\n\r\n")) == buffer_.npos) {
      if (buffer_.size() > kMaxHeaderBytes || !More()) {
        return {0, "the connection ended before an answer"};
      }
    }
    const std::string head = buffer_.substr(0, end + 2);
    buffer_.erase(0, end + 4);
    int status = 0;
    if (head.size() < 12 || std::from_chars(&head[9], &head[12], status).ptr != &head[12]) {
      return {0, "the answer is not HTTP"};
    }
    ClickHouseReply reply{status, {}};
    if (!ReadBody(head, reply.text)) {
      return {0, "the answer is incomplete or too long"};
    }
    if (HeaderIn(head, "connection") == "close" || HeaderIn(head, "connection") == "Close") {
      stream_.Close();
    }
    return reply;
  }

 private:
  bool More() { return stream_.Receive(buffer_, deadline_); }

  // Moves `count` bytes to `body`.
  bool Take(std::size_t count, std::string& body) {
    if (count > kMaxAnswerBytes - std::min(kMaxAnswerBytes, body.size())) {
      return false;
    }
    while (buffer_.size() < count) {
      if (!More()) {
        return false;
      }
    }
    body.append(buffer_, 0, count);
    buffer_.erase(0, count);
    return true;
  }

  // Without "\r\n".
  bool TakeLine(std::string& line) {
    std::size_t end = 0;
    while ((end = buffer_.find("\r\n")) == buffer_.npos) {
      if (buffer_.size() > kMaxHeaderBytes || !More()) {
        return false;
      }
    }
    line = buffer_.substr(0, end);
    buffer_.erase(0, end + 2);
    return true;
  }

  bool ReadChunks(std::string& body) {
    std::string line;
    for (;;) {
      std::size_t size = 0;
      if (!TakeLine(line) ||
          std::from_chars(line.data(), line.data() + line.size(), size, 16).ptr == line.data()) {
        return false;
      }
      if (size == 0) {
        return TakeLine(line) && line.empty();
      }
      std::string ending;
      if (!Take(size, body) || !Take(2, ending)) {
        return false;
      }
    }
  }

  bool ReadBody(std::string_view head, std::string& body) {
    if (HeaderIn(head, "transfer-encoding") == "chunked") {
      return ReadChunks(body);
    }
    std::size_t length = 0;
    const std::string_view text = HeaderIn(head, "content-length");
    return !text.empty() &&
           std::from_chars(text.data(), text.data() + text.size(), length).ec == std::errc{} &&
           Take(length, body);
  }

  TcpStream& stream_;
  const TcpStream::Deadline deadline_;
  std::string buffer_;
};

}  // namespace

std::optional<ClickHouseAddress> ParseClickHouseUrl(std::string_view url, std::string& error) {
  constexpr std::string_view kScheme = "http://";
  error = "not http://[USER[:PASSWORD]@]HOST[:PORT]/DATABASE";
  if (!url.starts_with(kScheme)) {
    return std::nullopt;
  }
  url.remove_prefix(kScheme.size());
  const std::size_t slash = url.find('/');
  const std::string_view server = url.substr(0, slash);
  const std::size_t at = server.rfind('@');
  ClickHouseAddress address;
  address.database = slash == url.npos ? "" : url.substr(slash + 1);
  address.user = FromEnvironment("TAV_CLICKHOUSE_USER");
  address.password = FromEnvironment("TAV_CLICKHOUSE_PASSWORD");
  const bool isRead = ReadHost(at == server.npos ? server : server.substr(at + 1), address) &&
                      (at == server.npos || ReadUser(server.substr(0, at), address));
  if (!isRead || !IsPrintable(address.user) || !IsPrintable(address.password)) {
    return std::nullopt;
  }
  if (address.database.empty() || !std::ranges::all_of(address.database, IsNameCharacter)) {
    error = "the database's name is not made of letters, digits and underscores";
    return std::nullopt;
  }
  error.clear();
  return address;
}

int ClickHouseReply::ErrorCode() const {
  constexpr std::string_view kPrefix = "Code: ";
  int code = 0;
  if (text.starts_with(kPrefix)) {
    std::from_chars(text.data() + kPrefix.size(), text.data() + text.size(), code);
  }
  return code;
}

ClickHouseClient::ClickHouseClient(ClickHouseAddress address) : address_(std::move(address)) {
  const bool isIpv6 = address_.host.find(':') != address_.host.npos;
  headers_ = " HTTP/1.1\r\nHost: " + (isIpv6 ? '[' + address_.host + ']' : address_.host) + ':' +
             address_.port + "\r\n";
  if (!address_.user.empty()) {
    headers_ += "X-ClickHouse-User: " + address_.user +
                "\r\nX-ClickHouse-Key: " + address_.password + "\r\n";
  }
}

ClickHouseReply ClickHouseClient::Post(std::string_view parameters,
                                       std::string_view body,
                                       std::chrono::milliseconds timeout) {
  const TcpStream::Deadline deadline = std::chrono::steady_clock::now() + timeout;
  if (!stream_.IsIdle()) {
    const std::string error = stream_.Connect(address_.host, address_.port, deadline);
    if (!error.empty()) {
      return {0, error};
    }
  }
  std::string head = "POST /?";
  head.append(parameters).append(headers_);
  head += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  // A server that refuses a request may answer before it has read all of it.
  const bool isSent = stream_.Send(head, deadline) && stream_.Send(body, deadline);
  ClickHouseReply reply =
      isSent ? AnswerReader(stream_, deadline).Read()
             : ClickHouseReply{0, "the connection ended while the request was sent"};
  if (reply.status == 0) {
    stream_.Close();
  }
  return reply;
}

ClickHouseReply ClickHouseClient::Execute(std::string_view sql, std::chrono::milliseconds timeout) {
  return Post("database=" + address_.database, sql, timeout);
}

std::string PercentEncode(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (IsNameCharacter(c)) {
      encoded += c;
    } else {
      encoded += {'%', kDigits[byte >> 4U], kDigits[byte & 0x0FU]};
    }
  }
  return encoded;
}

std::string QuoteSql(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') {
      quoted += '\\';
    }
    quoted += c;
  }
  return quoted += '\'';
}

}  // namespace Gateway
