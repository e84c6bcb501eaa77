// One HTTP request, step by step: session, connection, request, answer. Each step is a call of its
// own, so that their order, their messages and what counts as success stay portable code.
//
// Every step blocks the calling thread, at most as long as the time-outs say for each wait in it.
// A step that fails returns false, zero or an empty handle and leaves the reason in LastError. A
// step on an empty handle fails; it does not crash. Texts are bytes; each byte stands for the
// UTF-16 unit of the same value, and no code page is involved.
//
// A handle belongs to one thread at a time and must be closed before the one it was made from.
// Redirects of a GET are followed on Windows, handed to the caller as they are elsewhere, where
// only plain HTTP is spoken: the other side serves native tests and is no product.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Tav::Platform {

// Milliseconds, each at least 1. All bound one wait, not the request as a whole.
struct HttpTimeouts {
  int resolve;   // the look-up of the host's name; unbounded outside Windows
  int connect;   // one attempt to connect
  int send;      // each write
  int receive;   // each read of the answer's body
  int response;  // the beginning of the answer, once the request is out
};

// A URL taken apart.
struct HttpUrl {
  int scheme = 0;  // 1 HTTP, 2 HTTPS
  int port = 0;    // the scheme's own when the URL names none
  std::string host;
  std::string path;
  std::string extra;  // from the first '?' or '#' on, that character included
};

constexpr int kHttpScheme = 1;
constexpr int kHttpsScheme = 2;

// `url` must be shorter than 128 characters. False for another scheme than the two above.
bool HttpCrackUrl(const std::string& url, HttpUrl* parts);

// Owns one handle of the system's HTTP service, or none.
class HttpHandle {
 public:
  HttpHandle(const HttpHandle&) = delete;
  HttpHandle& operator=(const HttpHandle&) = delete;

  explicit operator bool() const { return handle_ != nullptr; }

  // Does nothing when already closed. Keeps the calling thread's last error.
  void Close();

 protected:
  HttpHandle() = default;
  explicit HttpHandle(void* handle) : handle_(handle) {}
  HttpHandle(HttpHandle&& other) noexcept : handle_(other.handle_) { other.handle_ = nullptr; }
  HttpHandle& operator=(HttpHandle&& other) noexcept;
  ~HttpHandle() { Close(); }

  void* handle_ = nullptr;
};

class HttpRequest : public HttpHandle {
 public:
  HttpRequest() = default;
  HttpRequest(HttpRequest&&) noexcept = default;
  HttpRequest& operator=(HttpRequest&&) noexcept = default;
  ~HttpRequest() = default;

  // Replaces the time-outs taken over from the session. Before Send.
  bool SetTimeouts(const HttpTimeouts& timeouts);

  // Which faults of the server's certificate to overlook; the bits are those of
  // WINHTTP_OPTION_SECURITY_FLAGS. Before Send.
  bool SetSecurityFlags(uint32_t flags);

  // Connects where no connection is at hand and writes request and body. `headers` are whole
  // lines with CR LF between them and none at the end. The body is borrowed until the answer's
  // beginning has been received; `context` is only handed on to the system.
  bool Send(const std::string& headers, const void* body, size_t length, const void* context);

  // Waits for the answer's status and headers.
  bool ReceiveResponse();

  bool QueryStatus(uint32_t* status);

  // Waits for `size` bytes of the answer's body and delivers fewer only at its end; `*count` is 0
  // once there are no more. A read that fails delivers nothing.
  bool Read(void* buffer, size_t size, size_t* count);

 private:
  friend class HttpConnection;
  explicit HttpRequest(void* handle) : HttpHandle(handle) {}
};

class HttpConnection : public HttpHandle {
 public:
  HttpConnection() = default;
  HttpConnection(HttpConnection&&) noexcept = default;
  HttpConnection& operator=(HttpConnection&&) noexcept = default;
  ~HttpConnection() = default;

  // Prepares a request; nothing is sent yet. An empty path asks for "/".
  HttpRequest OpenRequest(const char* verb,
                          const std::string& objectPath,
                          const char* acceptedType,
                          bool secure) const;

 private:
  friend class HttpSession;
  explicit HttpConnection(void* handle) : HttpHandle(handle) {}
};

class HttpSession : public HttpHandle {
 public:
  HttpSession() = default;
  HttpSession(HttpSession&&) noexcept = default;
  HttpSession& operator=(HttpSession&&) noexcept = default;
  ~HttpSession() = default;

  // A synchronous session that uses no proxy.
  static HttpSession Open(const char* userAgent);

  // For every request opened from now on. Without it the system's own apply.
  bool SetTimeouts(const HttpTimeouts& timeouts);

  // Names the server; the network is first touched by HttpRequest::Send.
  HttpConnection Connect(const std::string& host, int port) const;

 private:
  explicit HttpSession(void* handle) : HttpHandle(handle) {}
};

}  // namespace Tav::Platform
