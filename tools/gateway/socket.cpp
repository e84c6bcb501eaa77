#include "gateway/socket.h"

#include <algorithm>

namespace Gateway {
namespace {

// One call moves at most this much, so that the size fits every system's parameter.
constexpr std::size_t kMaxPiece = 1U << 30U;

#ifdef _WIN32
using PieceSize = int;
constexpr int kShutdownBoth = SD_BOTH;
constexpr int kSendFlags = 0;
constexpr int kExclusivePort = SO_EXCLUSIVEADDRUSE;
using ReadTimeout = DWORD;
#else
using PieceSize = std::size_t;
constexpr int kShutdownBoth = SHUT_RDWR;
constexpr int kSendFlags = 0;  // the HTTP library ignores SIGPIPE for the whole process
// On these systems the option frees ports in TIME_WAIT only; a port in use stays refused.
constexpr int kExclusivePort = SO_REUSEADDR;
using ReadTimeout = timeval;
#endif

void SetOption(socket_t socket, int level, int option) {
  const int on = 1;
  setsockopt(socket, level, option, reinterpret_cast<const char*>(&on), sizeof on);
}

PieceSize Piece(std::size_t size) {
  return static_cast<PieceSize>(std::min(size, kMaxPiece));
}

}  // namespace

void SetNoDelay(socket_t socket) {
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY);
}

#ifdef TCP_QUICKACK
void AcknowledgeAtOnce(socket_t socket) {
  SetOption(socket, IPPROTO_TCP, TCP_QUICKACK);
}
#else
void AcknowledgeAtOnce(socket_t) {}
#endif

void SetExclusivePort(socket_t socket) {
  SetOption(socket, SOL_SOCKET, kExclusivePort);
}

void SetBacklog(socket_t listener, int count) {
  ::listen(listener, count);
}

void ClearReadTimeout(socket_t socket) {
  const ReadTimeout none{};
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&none), sizeof none);
}

std::ptrdiff_t Receive(socket_t socket, char* buffer, std::size_t size) {
  return ::recv(socket, buffer, Piece(size), 0);
}

std::ptrdiff_t Send(socket_t socket, const char* data, std::size_t size) {
  return ::send(socket, data, Piece(size), kSendFlags);
}

void Shutdown(socket_t socket) {
  ::shutdown(socket, kShutdownBoth);
}

void Close(socket_t socket) {
#ifdef _WIN32
  ::closesocket(socket);
#else
  ::close(socket);
#endif
}

}  // namespace Gateway
