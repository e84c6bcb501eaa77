#include "gateway/tcp_stream.h"

#include <algorithm>
#include <array>
#include <memory>

#include "gateway/system_sockets.h"

namespace Gateway {
namespace {

using Clock = std::chrono::steady_clock;

// For Await: at least 0, rounded up.
int MillisecondsUntil(TcpStream::Deadline deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 1'000'000'000));
}

}  // namespace

std::string TcpStream::Connect(const std::string& host,
                               const std::string& port,
                               Deadline deadline) {
  Close();
  Sockets::Start();
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (const int error = getaddrinfo(host.c_str(), port.c_str(), &hints, &list); error != 0) {
    return host + ": " + Sockets::ResolverText(error);
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> release(list, &freeaddrinfo);
  int error = 0;
  for (const addrinfo* address = list; address != nullptr; address = address->ai_next) {
    error = Start(*address, deadline);
    if (error == 0) {
      return {};
    }
    Close();
  }
  return host + ":" + port + ": " + Sockets::ErrorText(error);
}

int TcpStream::Start(const addrinfo& address, Deadline deadline) {
  {
    const std::scoped_lock guard(lock_);
    socket_ = Sockets::Open(address.ai_family);
  }
  if (socket_ < 0) {
    return Sockets::LastError();
  }
  Sockets::SetNoDelay(socket_);
  if (Sockets::Connect(socket_, address)) {
    return 0;
  }
  const int error = Sockets::LastError();
  if (!Sockets::IsConnecting(error)) {
    return error;
  }
  return Await(true, deadline) ? Sockets::ConnectError(socket_) : Sockets::kTimedOut;
}

bool TcpStream::Send(std::string_view bytes, Deadline deadline) {
  while (!bytes.empty()) {
    const std::ptrdiff_t sent = Sockets::Send(socket_, bytes.data(), bytes.size());
    if (sent > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (!Sockets::IsTransient(Sockets::LastError()) || !Await(true, deadline)) {
      Close();
      return false;
    }
  }
  return true;
}

bool TcpStream::Receive(std::string& bytes, Deadline deadline) {
  std::array<char, 65536> buffer;
  while (Await(false, deadline)) {
    const std::ptrdiff_t received = Sockets::Receive(socket_, buffer.data(), buffer.size());
    if (received > 0) {
      bytes.append(buffer.data(), static_cast<std::size_t>(received));
      return true;
    }
    if (received == 0 || !Sockets::IsTransient(Sockets::LastError())) {
      break;
    }
  }
  Close();
  return false;
}

bool TcpStream::IsIdle() const {
  return socket_ >= 0 && Sockets::Await(socket_, false, 0) == 0;
}

void TcpStream::End() {
  const std::scoped_lock guard(lock_);
  if (socket_ >= 0) {
    Sockets::End(socket_);
  }
}

void TcpStream::Close() {
  const std::scoped_lock guard(lock_);
  if (socket_ >= 0) {
    Sockets::Close(socket_);
    socket_ = -1;
  }
}

bool TcpStream::Await(bool forWriting, Deadline deadline) const {
  for (;;) {
    const int ready = Sockets::Await(socket_, forWriting, MillisecondsUntil(deadline));
    if (ready > 0) {
      return true;
    }
    if (ready == 0 || !Sockets::IsTransient(Sockets::LastError())) {
      return false;
    }
  }
}

}  // namespace Gateway
