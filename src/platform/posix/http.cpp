// Plain HTTP/1.1 over sockets, enough to run the senders natively against a server on loopback.
// Failures set WinHTTP's error numbers.
#include "platform/http.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/error.h"
#include "platform/posix/http_response.h"
#include "platform/posix/http_socket.h"

namespace Tav::Platform {

namespace {

constexpr size_t kMaxUrl = 127;
constexpr HttpTimeouts kDefaultTimeouts{60000, 60000, 30000, 30000, 90000};

// What a handle points to.
struct Node {
  virtual ~Node() = default;
};

// Keeps one idle connection for the next request to the same server.
struct SessionNode : Node {
  std::string userAgent;
  HttpTimeouts timeouts = kDefaultTimeouts;
  Socket idle;
  std::string idleServer;
};

struct ConnectionNode : Node {
  SessionNode* session = nullptr;
  std::string host;
  int port = 0;
  std::string Server() const { return host + ':' + std::to_string(port); }
};

struct RequestNode : Node {
  ConnectionNode* connection = nullptr;
  HttpTimeouts timeouts{};
  std::string verb;
  std::string objectPath;
  std::string acceptedType;
  bool secure = false;
  bool lastOnConnection = false;
  Socket socket;
  HttpResponse response;
};

template <typename NodeType>
NodeType* As(void* handle) {
  if (handle == nullptr) {
    FailWith(HttpError::kInvalidHandle);
  }
  return static_cast<NodeType*>(static_cast<Node*>(handle));
}

void* HandleOf(std::unique_ptr<Node> node) {
  return node.release();
}

Socket TakeConnection(const RequestNode& request) {
  const ConnectionNode& connection = *request.connection;
  Socket idle = std::move(connection.session->idle);
  if (idle && connection.session->idleServer == connection.Server() && idle.Idle()) {
    return idle;
  }
  return Socket::Connect(connection.host, connection.port, request.timeouts.connect);
}

// Adds the headers that WinHTTP adds, in its order.
std::string RequestHead(const RequestNode& request, const std::string& headers, size_t length) {
  const ConnectionNode& connection = *request.connection;
  const bool absolute = request.objectPath.starts_with('/');
  std::string head = request.verb + (absolute ? " " : " /") + request.objectPath + " HTTP/1.1\r\n";
  head += "Accept: " + request.acceptedType + "\r\n";
  head += "User-Agent: " + connection.session->userAgent + "\r\n";
  head += "Host: " + (connection.port == 80 ? connection.host : connection.Server()) + "\r\n";
  if (length > 0) {
    head += "Content-Length: " + std::to_string(length) + "\r\n";
  }
  if (!request.lastOnConnection) {
    head += "Connection: Keep-Alive\r\n";
  }
  return head + headers + "\r\n\r\n";
}

// Moves a port from the end of `host` into `port`. The colons of an IPv6 address are in brackets.
bool SplitPort(HttpUrl* parts) {
  const size_t colon = parts->host.rfind(':');
  const size_t bracket = parts->host.rfind(']');
  if (colon != std::string::npos && (bracket == std::string::npos || bracket < colon)) {
    parts->port = std::atoi(parts->host.c_str() + colon + 1);
    parts->host.resize(colon);
  }
  return !parts->host.empty() && parts->host.starts_with('[') == parts->host.ends_with(']') &&
         parts->port > 0 && parts->port <= 65535;
}

}  // namespace

bool HttpCrackUrl(const std::string& url, HttpUrl* parts) {
  HttpUrl result;
  const size_t mark = std::min(url.find("://"), url.size());
  if (mark == 4 && strncasecmp(url.c_str(), "http", 4) == 0) {
    result.scheme = HttpScheme::Http;
    result.port = 80;
  } else if (mark == 5 && strncasecmp(url.c_str(), "https", 5) == 0) {
    result.scheme = HttpScheme::Https;
    result.port = 443;
  } else {
    return FailWith(HttpError::kUnrecognizedScheme);
  }
  const size_t host = mark + 3;
  const size_t path = std::min(url.find_first_of("/?#", host), url.size());
  const size_t extra = std::min(url.find_first_of("?#", path), url.size());
  result.host = url.substr(host, path - host);
  result.path = url.substr(path, extra - path);
  result.extra = url.substr(extra);
  if (url.size() > kMaxUrl || !SplitPort(&result)) {
    return FailWith(HttpError::kInvalidUrl);
  }
  *parts = std::move(result);
  return true;
}

void HttpHandle::Close() {
  const ErrorKeeper keep;
  delete static_cast<Node*>(std::exchange(handle_, nullptr));
}

HttpSession HttpSession::Open(const char* userAgent) {
  auto session = std::make_unique<SessionNode>();
  session->userAgent = userAgent;
  return HttpSession(HandleOf(std::move(session)));
}

bool HttpSession::SetTimeouts(const HttpTimeouts& timeouts) {
  SessionNode* session = As<SessionNode>(handle_);
  if (session == nullptr) {
    return false;
  }
  session->timeouts = timeouts;
  return true;
}

HttpConnection HttpSession::Connect(const std::string& host, int port) const {
  SessionNode* session = As<SessionNode>(handle_);
  if (session == nullptr) {
    return {};
  }
  auto connection = std::make_unique<ConnectionNode>();
  connection->session = session;
  connection->host = host;
  connection->port = port;
  return HttpConnection(HandleOf(std::move(connection)));
}

HttpRequest HttpConnection::OpenRequest(const char* verb,
                                        const std::string& objectPath,
                                        const char* acceptedType,
                                        bool secure) const {
  ConnectionNode* connection = As<ConnectionNode>(handle_);
  if (connection == nullptr) {
    return {};
  }
  auto request = std::make_unique<RequestNode>();
  request->connection = connection;
  request->timeouts = connection->session->timeouts;
  request->verb = verb;
  request->objectPath = objectPath;
  request->acceptedType = acceptedType;
  request->secure = secure;
  return HttpRequest(HandleOf(std::move(request)));
}

bool HttpRequest::SetTimeouts(const HttpTimeouts& timeouts) {
  RequestNode* request = As<RequestNode>(handle_);
  if (request == nullptr) {
    return false;
  }
  request->timeouts = timeouts;
  return true;
}

bool HttpRequest::SetSecurityFlags(uint32_t) {
  return As<RequestNode>(handle_) != nullptr;
}

bool HttpRequest::Send(const std::string& headers,
                       const void* body,
                       size_t length,
                       HttpObserver* observer) {
  RequestNode* request = As<RequestNode>(handle_);
  if (request == nullptr) {
    return false;
  }
  if (request->secure) {
    return FailWith(HttpError::kSecureChannelError);
  }
  request->lastOnConnection = headers.find("Connection: close") != std::string::npos;
  request->socket = TakeConnection(*request);
  if (!request->socket) {
    return false;
  }
  request->socket.Observe(observer);
  const std::string head = RequestHead(*request, headers, length);
  const int limit = request->timeouts.send;
  return request->socket.Write(head.data(), head.size(), limit) &&
         request->socket.Write(static_cast<const char*>(body), length, limit);
}

bool HttpRequest::ReceiveResponse() {
  RequestNode* request = As<RequestNode>(handle_);
  if (request == nullptr) {
    return false;
  }
  if (!request->socket) {
    return FailWith(HttpError::kIncorrectState);
  }
  return request->response.ReadHead(&request->socket, request->timeouts.response);
}

bool HttpRequest::QueryStatus(uint32_t* status) {
  RequestNode* request = As<RequestNode>(handle_);
  if (request == nullptr) {
    return false;
  }
  *status = request->response.Status();
  return *status != 0 || FailWith(HttpError::kIncorrectState);
}

bool HttpRequest::QueryRetryAfter(uint32_t* seconds) {
  RequestNode* request = As<RequestNode>(handle_);
  const auto wished = request == nullptr ? std::nullopt : request->response.RetryAfter();
  *seconds = wished.value_or(0);
  return wished.has_value();
}

bool HttpRequest::Read(void* buffer, size_t size, size_t* count) {
  *count = 0;
  RequestNode* request = As<RequestNode>(handle_);
  if (request == nullptr) {
    return false;
  }
  size_t filled = 0;
  size_t part = 1;
  while (filled < size && part > 0) {
    if (!request->response.ReadBody(&request->socket, static_cast<char*>(buffer) + filled,
                                    size - filled, &part, request->timeouts.receive)) {
      return false;
    }
    filled += part;
  }
  if (request->response.Reusable() && request->socket && !request->lastOnConnection) {
    SessionNode* session = request->connection->session;
    session->idle = std::move(request->socket);
    session->idleServer = request->connection->Server();
  }
  *count = filled;
  return true;
}

}  // namespace Tav::Platform
