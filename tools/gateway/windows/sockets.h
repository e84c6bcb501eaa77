// Part of tcp_stream.cpp.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string>
#include <system_error>

namespace Gateway::Sockets {

// Negative: none, as INVALID_SOCKET becomes.
using Handle = std::ptrdiff_t;

inline SOCKET Native(Handle socket) {
  return static_cast<SOCKET>(socket);
}

// Before the first use of sockets.
inline void Start() {
  static const int started = [] {
    WSADATA ignored;
    return WSAStartup(MAKEWORD(2, 2), &ignored);
  }();
  static_cast<void>(started);
}

// The error of the last function here that failed.
inline int LastError() {
  return WSAGetLastError();
}

inline constexpr int kTimedOut = WSAETIMEDOUT;

inline bool IsConnecting(int error) {
  return error == WSAEWOULDBLOCK;
}

inline bool IsTransient(int error) {
  return error == WSAEWOULDBLOCK || error == WSAEINTR;
}

inline std::string ErrorText(int error) {
  return std::system_category().message(error);
}

inline std::string ResolverText(int error) {
  return ErrorText(error);
}

// Functions of the socket do not block, and child processes do not inherit it.
inline Handle Open(int family) {
  const SOCKET socket = WSASocketW(family, SOCK_STREAM, 0, nullptr, 0,
                                   WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
  u_long on = 1;
  if (socket != INVALID_SOCKET) {
    ioctlsocket(socket, FIONBIO, &on);
  }
  return static_cast<Handle>(socket);
}

inline void Close(Handle socket) {
  closesocket(Native(socket));
}

inline bool Connect(Handle socket, const addrinfo& address) {
  return ::connect(Native(socket), address.ai_addr, static_cast<int>(address.ai_addrlen)) == 0;
}

// Of a connection that Connect has begun; 0 if it is made.
inline int ConnectError(Handle socket) {
  int error = 0;
  int size = sizeof error;
  ::getsockopt(Native(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
  return error;
}

inline void SetNoDelay(Handle socket) {
  const int on = 1;
  ::setsockopt(Native(socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on),
               sizeof on);
}

inline std::ptrdiff_t Send(Handle socket, const char* bytes, std::size_t size) {
  return ::send(Native(socket), bytes, static_cast<int>(std::min<std::size_t>(size, INT_MAX)), 0);
}

inline std::ptrdiff_t Receive(Handle socket, char* buffer, std::size_t size) {
  return ::recv(Native(socket), buffer, static_cast<int>(std::min<std::size_t>(size, INT_MAX)), 0);
}

// Ends the connection; a wait on another thread ends when the other side closes it, too.
inline void End(Handle socket) {
  ::shutdown(Native(socket), SD_SEND);
}

// Waits until the socket can be written, or read; 0 after the time, negative on failure. Not
// WSAPoll, which before Windows 10 version 2004 does not report that a connection has failed.
inline int Await(Handle socket, bool forWriting, int milliseconds) {
  fd_set sockets{};
  fd_set failed{};
  FD_SET(Native(socket), &sockets);
  FD_SET(Native(socket), &failed);
  timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
  return ::select(0, forWriting ? nullptr : &sockets, forWriting ? &sockets : nullptr, &failed,
                  &time);
}

}  // namespace Gateway::Sockets
