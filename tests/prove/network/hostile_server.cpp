#include "prove/network/hostile_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace Prove {
namespace {

constexpr int kPoll = 50;  // milliseconds until a thread notices that the server stops
constexpr std::size_t kPiece = 16384;

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  return address;
}

// The next bytes; empty at the end of the connection.
std::string ReadPiece(int socket, std::size_t size = kPiece) {
  std::string piece(size, '\0');
  const ssize_t count = recv(socket, piece.data(), piece.size(), 0);
  piece.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return piece;
}

std::size_t ContentLength(const std::string& head) {
  const std::string name = "\r\nContent-Length: ";
  const std::size_t at = head.find(name);
  return at == head.npos ? 0 : std::strtoul(head.c_str() + at + name.size(), nullptr, 10);
}

// The peer gets a reset instead of an orderly end.
void Reset(int socket) {
  const linger atOnce{.l_onoff = 1, .l_linger = 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

class OwnedSocket {
 public:
  explicit OwnedSocket(int socket) : socket_(socket) {}
  ~OwnedSocket() { close(socket_); }
  OwnedSocket(const OwnedSocket&) = delete;
  OwnedSocket& operator=(const OwnedSocket&) = delete;

 private:
  const int socket_;
};

}  // namespace

HostileServer::HostileServer(int gatewayPort, Misbehaviour misbehaviour, bool flaps)
    : gatewayPort_(gatewayPort), misbehaviour_(std::move(misbehaviour)), flaps_(flaps) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
      listen(listener_, 64) != 0) {
    throw std::runtime_error("cannot listen on loopback");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { Serve(); });
}

HostileServer::~HostileServer() {
  stopping_ = true;
  thread_.join();
  for (std::thread& thread : threads_) {
    thread.join();
  }
  close(listener_);
}

void HostileServer::Serve() {
  for (int number = 1; !stopping_;) {
    if (!AwaitInput(listener_, kPoll)) {
      continue;
    }
    const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client >= 0) {
      threads_.emplace_back([this, client, number] { Handle(client, number); });
      ++number;
    }
  }
}

void HostileServer::Handle(int client, int number) {
  const OwnedSocket owned(client);
  if (healed_ || (flaps_ && number % 3 == 0)) {
    Relay(client, nullptr);
  } else if (misbehaviour_.kind == Misbehaviour::Kind::Answer) {
    AnswerRequests(client);
  } else {
    Relay(client, &misbehaviour_);
  }
}

void HostileServer::AnswerRequests(int client) {
  while (AnswerOne(client)) {
  }
}

// False if the connection is to be closed.
bool HostileServer::AnswerOne(int client) {
  std::string request;
  std::size_t size = kNoLimit;
  while (request.size() < size) {
    while (!AwaitInput(client, kPoll)) {
      if (stopping_) {
        return false;
      }
    }
    const std::string piece = ReadPiece(client);
    if (piece.empty()) {
      return false;
    }
    request += piece;
    const std::size_t head = request.find("\r\n\r\n");
    if (head != request.npos) {
      size = head + 4 + (misbehaviour_.ignoreBody ? 0 : ContentLength(request));
    }
  }
  if (misbehaviour_.store) {
    Forward(request);
  }
  ++victims_;
  bool isOpen = SendAll(client, misbehaviour_.answer);
  for (std::int64_t i = 0; isOpen && i < misbehaviour_.repeats && !stopping_; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(misbehaviour_.pause));
    isOpen = SendAll(client, misbehaviour_.repeated);
  }
  return isOpen && misbehaviour_.keepOpen && !stopping_;
}

// Sends the request to the gateway and waits for its answer.
void HostileServer::Forward(const std::string& request) const {
  const int gateway = Connect();
  const OwnedSocket owned(gateway);
  std::string answer;
  std::string piece;
  constexpr int kMaxWait = 30000;
  if (!SendAll(gateway, request)) {
    return;
  }
  do {
    piece = AwaitInput(gateway, kMaxWait) ? ReadPiece(gateway) : "";
    answer += piece;
  } while (!piece.empty() && answer.find("\r\n\r\n") == answer.npos);
}

void HostileServer::Relay(int client, const Misbehaviour* limits) {
  const int gateway = Connect();
  const OwnedSocket owned(gateway);
  std::size_t fromClient = limits == nullptr ? kNoLimit : limits->clientBytes;
  std::size_t fromServer = limits == nullptr ? kNoLimit : limits->serverBytes;
  while (!stopping_) {
    if (limits != nullptr && (fromClient == 0 || fromServer == 0)) {
      ++victims_;
      Finish(client, gateway, limits->then, fromServer == 0);
      return;
    }
    pollfd sockets[] = {{client, POLLIN, 0}, {gateway, POLLIN, 0}};
    poll(sockets, 2, kPoll);
    for (int side = 0; side < 2; ++side) {
      if (sockets[side].revents == 0) {
        continue;
      }
      std::size_t& left = side == 0 ? fromClient : fromServer;
      const std::string piece = ReadPiece(sockets[side].fd, std::min(left, kPiece));
      if (piece.empty() || !SendAll(sockets[1 - side].fd, piece)) {
        return;
      }
      left -= left == kNoLimit ? 0 : piece.size();
    }
  }
}

// `toClient` says to which side corrupt bytes are sent.
void HostileServer::Finish(int client, int gateway, Misbehaviour::Then then, bool toClient) {
  if (then == Misbehaviour::Then::Reset) {
    Reset(client);
    Reset(gateway);
  } else if (then == Misbehaviour::Then::Corrupt) {
    SendAll(toClient ? client : gateway, std::string(64, '\x5a'));
  } else if (then == Misbehaviour::Then::Stall) {
    // Until the client closes the connection, which shows when all it has sent is read.
    while (!stopping_ && !(AwaitInput(client, kPoll) && ReadPiece(client).empty())) {
    }
  }
}

bool HostileServer::SendAll(int socket, const std::string& bytes) const {
  for (std::size_t sent = 0; sent < bytes.size() && !stopping_;) {
    pollfd entry{socket, POLLOUT, 0};
    if (poll(&entry, 1, kPoll) == 0) {
      continue;
    }
    const ssize_t count = send(socket, bytes.data() + sent, std::min(bytes.size() - sent, kPiece),
                               MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count <= 0) {
      return false;
    }
    sent += static_cast<std::size_t>(count);
  }
  return !stopping_;
}

bool HostileServer::AwaitInput(int socket, int milliseconds) const {
  for (int waited = 0; waited < milliseconds && !stopping_; waited += kPoll) {
    pollfd entry{socket, POLLIN, 0};
    if (poll(&entry, 1, kPoll) > 0) {
      return true;
    }
  }
  return false;
}

int HostileServer::Connect() const {
  const int gateway = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = Loopback(gatewayPort_);
  connect(gateway, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return gateway;
}

}  // namespace Prove
