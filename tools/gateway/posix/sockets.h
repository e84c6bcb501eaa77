// Part of tcp_stream.cpp.
#pragma once

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

namespace Gateway::Sockets {

using Handle = std::ptrdiff_t;  // negative: none

inline int Descriptor(Handle socket) {
  return static_cast<int>(socket);
}

// Before the first use of sockets.
inline void Start() {}

// The error of the last function here that failed.
inline int LastError() {
  return errno;
}

inline constexpr int kTimedOut = ETIMEDOUT;

inline bool IsConnecting(int error) {
  return error == EINPROGRESS;
}

inline bool IsTransient(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

inline std::string ErrorText(int error) {
  return std::strerror(error);
}

inline std::string ResolverText(int error) {
  return gai_strerror(error);
}

// Functions of the socket do not block, and child processes do not inherit it.
inline Handle Open(int family) {
  return ::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

inline void Close(Handle socket) {
  ::close(Descriptor(socket));
}

inline bool Connect(Handle socket, const addrinfo& address) {
  return ::connect(Descriptor(socket), address.ai_addr, address.ai_addrlen) == 0;
}

// Of a connection that Connect has begun; 0 if it is made.
inline int ConnectError(Handle socket) {
  int error = 0;
  socklen_t size = sizeof error;
  ::getsockopt(Descriptor(socket), SOL_SOCKET, SO_ERROR, &error, &size);
  return error;
}

inline void SetNoDelay(Handle socket) {
  const int on = 1;
  ::setsockopt(Descriptor(socket), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

inline std::ptrdiff_t Send(Handle socket, const char* bytes, std::size_t size) {
  return ::send(Descriptor(socket), bytes, size, MSG_NOSIGNAL);
}

inline std::ptrdiff_t Receive(Handle socket, char* buffer, std::size_t size) {
  return ::recv(Descriptor(socket), buffer, size, 0);
}

// Ends the connection; a wait on another thread ends when the other side closes it, too.
inline void End(Handle socket) {
  ::shutdown(Descriptor(socket), SHUT_RDWR);
}

// Waits until the socket can be written, or read; 0 after the time, negative on failure.
inline int Await(Handle socket, bool forWriting, int milliseconds) {
  pollfd entry{Descriptor(socket), static_cast<short>(forWriting ? POLLOUT : POLLIN), 0};
  return ::poll(&entry, 1, milliseconds);
}

}  // namespace Gateway::Sockets
