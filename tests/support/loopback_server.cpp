#include "support/loopback_server.h"

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <list>
#include <stdexcept>

namespace Tav::Testing {

namespace {

#ifdef _WIN32
using NativeSocket = SOCKET;
using Length = int;
using Count = int;
constexpr int kSendFlags = 0;

void StartSockets() {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  if (!started) {
    throw std::runtime_error("cannot initialise sockets");
  }
}
void CloseSocket(uintptr_t socket) {
  closesocket(socket);
}
#else
using NativeSocket = int;
using Length = socklen_t;
using Count = size_t;
constexpr int kSendFlags = MSG_NOSIGNAL;

void StartSockets() {}
void CloseSocket(uintptr_t socket) {
  close(static_cast<int>(socket));
}
#endif

NativeSocket Native(uintptr_t socket) {
  return static_cast<NativeSocket>(socket);
}

struct Loopback {
  Loopback(LoopbackServer::Address kind, int port) {
    const auto portInOrder = htons(static_cast<uint16_t>(port));
    if (kind == LoopbackServer::Address::Ipv6) {
      v6.sin6_family = AF_INET6;
      v6.sin6_addr.s6_addr[15] = 1;
      v6.sin6_port = portInOrder;
      size = sizeof v6;
    } else {
      v4.sin_family = AF_INET;
      v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      v4.sin_port = portInOrder;
      size = sizeof v4;
    }
  }
  sockaddr* Get() { return reinterpret_cast<sockaddr*>(&v6); }
  int Port() const { return ntohs(v6.sin6_port); }  // at the same place in both

  union {
    sockaddr_in6 v6{};
    sockaddr_in v4;
  };
  Length size = 0;
};

NativeSocket NewSocket(LoopbackServer::Address kind) {
  return socket(kind == LoopbackServer::Address::Ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0);
}

// A socket bound to a free port, which is stored in `*port`.
uintptr_t BindToFreePort(LoopbackServer::Address kind, int* port) {
  StartSockets();
  const NativeSocket bound = NewSocket(kind);
  Loopback address(kind, 0);
  if (bind(bound, address.Get(), address.size) != 0 ||
      getsockname(bound, address.Get(), &address.size) != 0) {
    CloseSocket(static_cast<uintptr_t>(bound));
    throw std::runtime_error("cannot bind to loopback");
  }
  *port = address.Port();
  return static_cast<uintptr_t>(bound);
}

bool SendAll(uintptr_t socket, const std::string& bytes) {
  for (size_t sent = 0; sent < bytes.size();) {
    const auto count = send(Native(socket), bytes.data() + sent,
                            static_cast<Count>(bytes.size() - sent), kSendFlags);
    if (count <= 0) {
      return false;
    }
    sent += static_cast<size_t>(count);
  }
  return true;
}

size_t ContentLength(const std::string& head) {
  const std::string name = "\r\nContent-Length: ";
  const size_t at = head.find(name);
  return at == std::string::npos ? 0 : std::strtoul(head.c_str() + at + name.size(), nullptr, 10);
}

}  // namespace

LoopbackServer::LoopbackServer(Address address)
    : address_(address), listener_(BindToFreePort(address, &port_)) {
  if (listen(Native(listener_), 16) != 0) {
    throw std::runtime_error("cannot listen on loopback");
  }
  thread_ = std::thread([this] { Serve(); });
}

LoopbackServer::~LoopbackServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  // A connection ends the wait for connections.
  const NativeSocket wakeUp = NewSocket(address_);
  Loopback address(address_, port_);
  connect(wakeUp, address.Get(), address.size);
  thread_.join();
  CloseSocket(static_cast<uintptr_t>(wakeUp));
  CloseSocket(listener_);
}

std::string LoopbackServer::Url(const std::string& pathAndQuery) const {
  const char* const host = address_ == Address::Ipv6 ? "[::1]:" : "127.0.0.1:";
  return std::string("http://") + host + std::to_string(port_) + pathAndQuery;
}

void LoopbackServer::Enqueue(Answer answer) {
  const std::lock_guard lock(mutex_);
  answers_.push_back(std::move(answer));
}

void LoopbackServer::EnqueueStatus(const std::string& statusAndReason, const std::string& body) {
  Enqueue({"HTTP/1.1 " + statusAndReason + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body});
}

std::vector<LoopbackServer::Request> LoopbackServer::Requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

void LoopbackServer::Serve() {
  std::list<Connection> connections;
  for (int next = 0;;) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(Native(listener_), &readable);
    NativeSocket highest = Native(listener_);
    for (const Connection& connection : connections) {
      FD_SET(Native(connection.socket), &readable);
      highest = std::max(highest, Native(connection.socket));
    }
    if (select(static_cast<int>(highest) + 1, &readable, nullptr, nullptr, nullptr) <= 0) {
      break;
    }
    connections.remove_if([&](Connection& connection) {
      const bool ended = FD_ISSET(Native(connection.socket), &readable) && !Receive(&connection);
      if (ended) {
        CloseSocket(connection.socket);
      }
      return ended;
    });
    if (FD_ISSET(Native(listener_), &readable)) {
      const NativeSocket accepted = accept(Native(listener_), nullptr, nullptr);
      connections.push_back({next++, static_cast<uintptr_t>(accepted), {}});
      const std::lock_guard lock(mutex_);
      if (stopping_) {
        break;
      }
    }
  }
  for (const Connection& connection : connections) {
    CloseSocket(connection.socket);
  }
}

bool LoopbackServer::Receive(Connection* connection) {
  char piece[65536];
  const auto count = recv(Native(connection->socket), piece, sizeof piece, 0);
  if (count <= 0) {
    return false;
  }
  connection->received.append(piece, static_cast<size_t>(count));
  return AnswerWholeRequests(connection);
}

bool LoopbackServer::AnswerWholeRequests(Connection* connection) {
  std::string& received = connection->received;
  for (;;) {
    const size_t end = received.find("\r\n\r\n");
    if (end == std::string::npos) {
      return true;
    }
    const std::string head = received.substr(0, end + 4);
    const size_t size = head.size() + ContentLength(head);
    if (received.size() < size) {
      return true;
    }
    const Answer answer =
        Record(*connection, head, received.substr(head.size(), size - head.size()));
    received.erase(0, size);
    if (!SendAll(connection->socket, answer.bytes) || answer.then == Then::Close) {
      return false;
    }
  }
}

LoopbackServer::Answer LoopbackServer::Record(const Connection& connection,
                                              const std::string& head,
                                              const std::string& body) {
  const std::lock_guard lock(mutex_);
  requests_.push_back({connection.number, head, body});
  if (answers_.empty()) {
    return {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"};
  }
  Answer answer = std::move(answers_.front());
  answers_.pop_front();
  return answer;
}

int ClosedPort() {
  int port = 0;
  CloseSocket(BindToFreePort(LoopbackServer::Address::Ipv4, &port));
  return port;
}

}  // namespace Tav::Testing
