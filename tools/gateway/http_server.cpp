#include "gateway/http_server.h"

#include <memory>
#include <utility>

#include "gateway/growing_pool.h"
#include "gateway/socket.h"

namespace Gateway {
namespace {

// How long a connection may be silent. Clients close theirs long before.
constexpr time_t kReadTimeoutSeconds = 300;
constexpr time_t kWriteTimeoutSeconds = 30;
// Told to the clients only; no connection is closed for having carried many requests.
constexpr size_t kRequestsPerConnection = 1'000'000'000;

constexpr int kBacklog = 256;

constexpr const char* kHiddenPrefix = "X-Gateway-Original-";
constexpr const char* kHiddenHeaders[] = {"Content-Encoding", "Content-Type"};

// Runs between the headers and the body of a request.
void PrepareRequest(httplib::Request& request) {
  for (const std::string name : kHiddenHeaders) {
    const std::string value = request.get_header_value(name);
    request.headers.erase(name);
    request.headers.erase(kHiddenPrefix + name);
    if (!value.empty()) {
      request.set_header(kHiddenPrefix + name, value);
    }
  }
  // Without either header there is no body; the library would wait for the connection to end.
  if (!request.has_header("Content-Length") && !request.has_header("Transfer-Encoding")) {
    request.set_header("Content-Length", "0");
  }
}

}  // namespace

HttpServer::HttpServer(SslContextPtr context, std::function<void()> beforeStop)
    : context_(std::move(context)) {
  set_payload_max_length(kMaxBodyBytes);
  set_read_timeout(kReadTimeoutSeconds);
  set_write_timeout(kWriteTimeoutSeconds);
  set_keep_alive_timeout(kReadTimeoutSeconds);
  set_keep_alive_max_count(kRequestsPerConnection);
  set_socket_options(SetExclusivePort);
  new_task_queue = [this, beforeStop = std::move(beforeStop)]() -> httplib::TaskQueue* {
    return new GrowingPool([this, beforeStop] {
      beforeStop();
      connections_.EndAll();
    });
  };
}

HttpServer::~HttpServer() {
  if (listener_ != INVALID_SOCKET) {
    Close(listener_);
  }
}

int HttpServer::Bind(const std::string& address, int port) {
  if (port == 0) {
    port = bind_to_any_port(address);
  } else if (!bind_to_port(address, port)) {
    port = -1;
  }
  listener_ = svr_sock_;
  if (listener_ != INVALID_SOCKET) {
    SetBacklog(listener_, kBacklog);
  }
  return port;
}

void HttpServer::Run() {
  if (!listen_after_bind()) {
    // Accepting failed, and the library has closed the socket.
    listener_ = INVALID_SOCKET;
  }
}

void HttpServer::Stop() {
  // The library's own stop does nothing before the loop has begun, and closes the socket while
  // accept may still be using it. Here it is only woken; the destructor closes it.
  const socket_t listener = svr_sock_.exchange(INVALID_SOCKET);
  if (listener != INVALID_SOCKET) {
    Shutdown(listener);
  }
}

std::string HttpServer::OriginalHeader(const httplib::Request& request, const std::string& name) {
  const std::string hidden = kHiddenPrefix + name;
  return request.get_header_value(request.has_header(hidden) ? hidden : name);
}

bool HttpServer::process_and_close_socket(socket_t socket) {
  Connection connection(socket, context_.get());
  if (!connections_.Add(connection)) {
    return false;
  }
  if (connection.Handshake()) {
    Serve(connection);
  }
  connections_.Remove(connection);
  return true;
}

void HttpServer::Serve(Connection& connection) {
  bool isLast = false;
  while (!isLast && connection.IsOpen() &&
         process_request(connection, false, isLast, PrepareRequest)) {
  }
}

}  // namespace Gateway
