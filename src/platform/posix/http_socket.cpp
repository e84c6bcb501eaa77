#include "platform/posix/http_socket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "platform/error.h"

namespace Tav::Platform {

bool FailWith(uint32_t error) {
  SetLastError(error);
  return false;
}

Socket& Socket::operator=(Socket&& other) noexcept {
  if (this != &other) {
    Close();
    descriptor_ = std::exchange(other.descriptor_, -1);
    observer_ = other.observer_;
  }
  return *this;
}

void Socket::Close() {
  if (descriptor_ >= 0) {
    close(std::exchange(descriptor_, -1));
  }
}

void Socket::Observe(HttpObserver* observer) {
  observer_ = observer;
  NoteProgress();
}

void Socket::NoteProgress() const {
  if (observer_ != nullptr) {
    observer_->OnProgress();
  }
}

Socket Socket::Connect(const std::string& host, int port, int limit) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const bool isBracketed = host.starts_with('[') && host.ends_with(']');
  const std::string name = isBracketed ? host.substr(1, host.size() - 2) : host;
  if (getaddrinfo(name.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
    FailWith(HttpError::kNameNotResolved);
    return {};
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
  for (const addrinfo* at = found; at != nullptr; at = at->ai_next) {
    Socket candidate(socket(at->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (candidate.ConnectAddress(at->ai_addr, at->ai_addrlen, limit)) {
      return candidate;
    }
  }
  return {};
}

bool Socket::ConnectAddress(const void* address, unsigned size, int limit) {
  if (connect(descriptor_, static_cast<const sockaddr*>(address), size) != 0) {
    if (errno != EINPROGRESS) {
      return FailWith(HttpError::kCannotConnect);
    }
    if (!Wait(POLLOUT, limit)) {
      return false;
    }
  }
  int failure = 0;
  socklen_t failureSize = sizeof failure;
  getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &failure, &failureSize);
  const int on = 1;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return failure == 0 || FailWith(HttpError::kCannotConnect);
}

bool Socket::Wait(short events, int limit) const {
  pollfd entry{descriptor_, events, 0};
  int ready = 0;
  do {
    ready = poll(&entry, 1, limit);
  } while (ready < 0 && errno == EINTR);
  return ready > 0 || FailWith(ready == 0 ? HttpError::kTimeout : HttpError::kConnectionError);
}

bool Socket::Write(const char* data, size_t size, int limit) {
  while (size > 0) {
    const ssize_t written = send(descriptor_, data, size, MSG_NOSIGNAL);
    if (written > 0) {
      NoteProgress();
      data += written;
      size -= static_cast<size_t>(written);
    } else if (errno == EAGAIN) {
      if (!Wait(POLLOUT, limit)) {
        return false;
      }
    } else if (errno != EINTR) {
      return FailWith(HttpError::kConnectionError);
    }
  }
  return true;
}

bool Socket::Read(char* data, size_t size, size_t* count, int limit) {
  for (;;) {
    const ssize_t received = recv(descriptor_, data, size, 0);
    if (received >= 0) {
      NoteProgress();
      *count = static_cast<size_t>(received);
      return true;
    }
    if (errno == EAGAIN) {
      if (!Wait(POLLIN, limit)) {
        return false;
      }
    } else if (errno != EINTR) {
      return FailWith(HttpError::kConnectionError);
    }
  }
}

bool Socket::Idle() const {
  char probe = 0;
  return recv(descriptor_, &probe, 1, MSG_PEEK) < 0 && errno == EAGAIN;
}

}  // namespace Tav::Platform
