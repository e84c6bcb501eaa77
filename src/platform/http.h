// One HTTP request, step by step: session, connection, request, response. Each step is a separate
// call, so that the order of the steps, their messages and the meaning of success are portable.
//
// Each step blocks the calling thread; HttpTimeouts bounds each wait. A step that fails returns
// false or an empty handle and leaves the reason in LastError. A step on an empty handle fails.
// Texts are bytes: each becomes the UTF-16 unit of the same value, without a code page.
//
// A handle is used by one thread at a time and is closed before the handle it was made from.
//
// One request gets one response: redirections are not followed, cookies are not kept and requests
// for credentials are not answered. The POSIX side serves native tests and speaks plain HTTP only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace Tav::Platform {

// Milliseconds, at least 1. Each limit applies to one wait, not to the whole request.
struct HttpTimeouts {
  int resolve;   // the look-up of the host name; not limited outside Windows
  int connect;   // one attempt to connect
  int send;      // each write
  int receive;   // each read of the response body
  int response;  // the status and headers, after the request has been sent
};

// WinHTTP's numbers.
enum class HttpScheme : int { None = 0, Http = 1, Https = 2 };

struct HttpUrl {
  HttpScheme scheme = HttpScheme::None;
  int port = 0;      // the scheme's default if the URL has none
  std::string host;  // an IPv6 address keeps its brackets
  std::string path;
  std::string extra;  // from the first '?' or '#' to the end
};

// `url` has at most 127 characters. Fails for any other scheme than HTTP and HTTPS.
bool HttpCrackUrl(const std::string& url, HttpUrl* parts);

// Called whenever a request makes progress: an address found, a connection made, a piece sent or
// received.
class HttpObserver {
 public:
  // On the thread that runs the step. Must not block or throw.
  virtual void OnProgress() = 0;

 protected:
  ~HttpObserver() = default;
};

// Owns one handle of the system's HTTP service, or none.
class HttpHandle {
 public:
  HttpHandle(const HttpHandle&) = delete;
  HttpHandle& operator=(const HttpHandle&) = delete;

  explicit operator bool() const { return handle_ != nullptr; }

  // May be called again. Keeps the calling thread's last error.
  void Close();

 protected:
  HttpHandle() = default;
  explicit HttpHandle(void* handle) : handle_(handle) {}
  HttpHandle(HttpHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  HttpHandle& operator=(HttpHandle&& other) noexcept {
    if (this != &other) {
      Close();
      handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
  }
  ~HttpHandle() { Close(); }

  void* handle_ = nullptr;
};

class HttpRequest : public HttpHandle {
 public:
  HttpRequest() = default;

  // Replaces the session's time-outs. Call before Send.
  bool SetTimeouts(const HttpTimeouts& timeouts);

  // The certificate faults to ignore, as bits of WINHTTP_OPTION_SECURITY_FLAGS. Call before Send.
  bool SetSecurityFlags(uint32_t flags);

  // Connects unless a connection is open, then writes the request. `headers` are lines separated by
  // CR LF without one at the end. The body is borrowed until ReceiveResponse returns. `observer`
  // may be null; it is borrowed until the request is closed.
  bool Send(const std::string& headers, const void* body, size_t length, HttpObserver* observer);

  // Waits for the response's status and headers.
  bool ReceiveResponse();

  bool QueryStatus(uint32_t* status);

  // The header Retry-After in seconds. False if there is none; a date may count as 0.
  bool QueryRetryAfter(uint32_t* seconds);

  // Waits for `size` bytes of the body; fewer come only at its end, and `*count` is 0 after it. A
  // read that fails delivers nothing.
  bool Read(void* buffer, size_t size, size_t* count);

 private:
  friend class HttpConnection;
  explicit HttpRequest(void* handle) : HttpHandle(handle) {}
};

class HttpConnection : public HttpHandle {
 public:
  HttpConnection() = default;

  // Prepares a request and sends nothing. An empty path requests "/".
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

  // A synchronous session. Without a proxy, except in a build with TAV_SYSTEM_PROXY: that one uses
  // the proxy settings of Windows.
  static HttpSession Open(const char* userAgent);

  // For requests opened from now on. The system's defaults apply otherwise.
  bool SetTimeouts(const HttpTimeouts& timeouts);

  // Names the server. The first network access is in HttpRequest::Send.
  HttpConnection Connect(const std::string& host, int port) const;

 private:
  explicit HttpSession(void* handle) : HttpHandle(handle) {}
};

}  // namespace Tav::Platform
