#include "gateway/http_server.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Gateway {
namespace {

// How long a connection may be idle. Clients close theirs long before.
constexpr time_t kReadTimeoutSeconds = 300;
constexpr time_t kWriteTimeoutSeconds = 30;
// The library would close a connection after five requests.
constexpr size_t kRequestsPerConnection = 1'000'000'000;

// Connections that wait to be accepted. The library asks for five; when more clients connect at
// once, the others would try again after a second.
constexpr int kBacklog = 256;

constexpr const char* kHiddenPrefix = "X-Gateway-Original-";
constexpr const char* kHiddenHeaders[] = {"Content-Encoding", "Content-Type"};

// Threads for connections. A connection keeps its thread while it is open, and a fault can keep one
// open for ever: so a new thread starts when none is idle.
class GrowingPool final : public httplib::TaskQueue {
 public:
  // `beforeJoin` runs first in shutdown: it must make the running tasks end.
  explicit GrowingPool(std::function<void()> beforeJoin) : beforeJoin_(std::move(beforeJoin)) {}

  void enqueue(std::function<void()> task) override {
    bool needsThread = false;
    {
      const std::scoped_lock guard(lock_);
      tasks_.push_back(std::move(task));
      needsThread = tasks_.size() > idle_;
    }
    changed_.notify_one();
    if (needsThread) {
      try {
        threads_.emplace_back(&GrowingPool::Work, this);
      } catch (const std::system_error&) {
        // Too many threads: the task waits until one is free.
      }
    }
  }

  void shutdown() override {
    beforeJoin_();
    {
      const std::scoped_lock guard(lock_);
      isClosing_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }

 private:
  void Work() {
    std::unique_lock guard(lock_);
    for (;;) {
      ++idle_;
      changed_.wait(guard, [&] { return isClosing_ || !tasks_.empty(); });
      --idle_;
      if (tasks_.empty()) {
        return;
      }
      const std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      guard.unlock();
      task();
      guard.lock();
    }
  }

  const std::function<void()> beforeJoin_;
  std::vector<std::thread> threads_;  // used by the thread that accepts connections only

  std::mutex lock_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::size_t idle_ = 0;  // threads that wait for a task
  bool isClosing_ = false;
};

// Lets a restarted server have its port back at once. A port that another program listens on is
// still refused.
void ReuseAddress(socket_t socket) {
  const int on = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

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
  // Without either header there is no body, but the library would wait for the connection to end.
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
  set_socket_options(ReuseAddress);
  new_task_queue = [this, beforeStop = std::move(beforeStop)]() -> httplib::TaskQueue* {
    return new GrowingPool([this, beforeStop] {
      beforeStop();
      connections_.EndAll();
    });
  };
}

HttpServer::~HttpServer() {
  if (listener_ != INVALID_SOCKET) {
    ::close(listener_);
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
    ::listen(listener_, kBacklog);
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
  // The library's stop() does nothing before the loop has begun, and closes the socket while accept
  // may still use it. This only wakes accept; the destructor closes the socket.
  const socket_t listener = svr_sock_.exchange(INVALID_SOCKET);
  if (listener != INVALID_SOCKET) {
    ::shutdown(listener, SHUT_RDWR);
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
