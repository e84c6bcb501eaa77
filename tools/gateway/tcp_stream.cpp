#include "gateway/store/tcp_stream.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

namespace Gateway {
namespace {

using Clock = std::chrono::steady_clock;

// For poll: at least 0, rounded up.
int MillisecondsUntil(TcpStream::Deadline deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 1'000'000'000));
}

bool WouldBlock(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

int OpenSocket(const addrinfo& address) {
  const int socket = ::socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (socket >= 0) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  return socket;
}

}  // namespace

std::string TcpStream::Connect(const std::string& host,
                               const std::string& port,
                               Deadline deadline) {
  Close();
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (const int error = getaddrinfo(host.c_str(), port.c_str(), &hints, &list); error != 0) {
    return host + ": " + gai_strerror(error);
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> release(list, &freeaddrinfo);
  int error = 0;
  for (const addrinfo* address = list; address != nullptr; address = address->ai_next) {
    socket_ = OpenSocket(*address);
    error = errno;
    if (socket_ < 0) {
      continue;
    }
    if (connect(socket_, address->ai_addr, address->ai_addrlen) == 0) {
      return {};
    }
    error = errno;
    if (error == EINPROGRESS) {
      socklen_t size = sizeof error;
      error = ETIMEDOUT;
      if (Await(POLLOUT, deadline)) {
        getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &size);
      }
      if (error == 0) {
        return {};
      }
    }
    Close();
  }
  return host + ":" + port + ": " + std::strerror(error);
}

bool TcpStream::Send(std::string_view bytes, Deadline deadline) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (!WouldBlock(errno) || !Await(POLLOUT, deadline)) {
      Close();
      return false;
    }
  }
  return true;
}

bool TcpStream::Receive(std::string& bytes, Deadline deadline) {
  std::array<char, 65536> buffer;
  while (Await(POLLIN, deadline)) {
    const ssize_t received = recv(socket_, buffer.data(), buffer.size(), 0);
    if (received > 0) {
      bytes.append(buffer.data(), static_cast<std::size_t>(received));
      return true;
    }
    if (received == 0 || !WouldBlock(errno)) {
      break;
    }
  }
  Close();
  return false;
}

bool TcpStream::IsIdle() const {
  pollfd entry{socket_, POLLIN, 0};
  return socket_ >= 0 && poll(&entry, 1, 0) == 0;
}

void TcpStream::Close() {
  if (socket_ >= 0) {
    close(socket_);
    socket_ = -1;
  }
}

bool TcpStream::Await(short events, Deadline deadline) const {
  for (;;) {
    pollfd entry{socket_, events, 0};
    const int ready = poll(&entry, 1, MillisecondsUntil(deadline));
    if (ready > 0) {
      return true;
    }
    if (ready == 0 || errno != EINTR) {
      return false;
    }
  }
}

}  // namespace Gateway
