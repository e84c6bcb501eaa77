// The answers of an HTTP server, as the POSIX platform reads them: the bytes come from a socket on
// loopback and end there.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz.h"
#include "platform/posix/http_response.h"
#include "platform/posix/http_socket.h"

namespace {

using namespace Tav::Platform;
using Tav::Fuzz::Require;

constexpr int kLimit = 10000;  // milliseconds; the bytes are there already

// Accepts one connection at a time.
class Server {
 public:
  Server() {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    Require(listener_ >= 0 && bind(listener_, address, size) == 0 && listen(listener_, 1) == 0 &&
                getsockname(listener_, address, &size) == 0,
            "there is a loopback socket");
  }

  Socket ConnectAndAnswer(std::string_view bytes) const {
    Socket client = Socket::Connect("127.0.0.1", ntohs(address_.sin_port), kLimit);
    const int accepted = accept(listener_, nullptr, nullptr);
    Require(client && accepted >= 0, "a connection is made");
    Require(send(accepted, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(bytes.size()),
            "the socket buffers the answer");
    close(accepted);
    return client;
  }

 private:
  const int listener_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address_{};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Server server;
  if (size == 0) {
    return 0;
  }
  const size_t piece = size_t{data[0]} + 1;
  const std::string_view answer(reinterpret_cast<const char*>(data) + 1, size - 1);
  Socket socket = server.ConnectAndAnswer(answer);
  HttpResponse response;
  if (!response.ReadHead(&socket, kLimit)) {
    Require(response.Status() == 0, "a head that is not read has no status");
    return 0;
  }
  Require(answer.starts_with("HTTP/1."), "an answer begins with the protocol");
  Require(response.Status() >= 200 && response.Status() <= 999, "an interim answer is passed over");
  std::string body;
  std::string buffer(piece, '\0');
  size_t count = 0;
  bool good = false;
  while ((good = response.ReadBody(&socket, buffer.data(), piece, &count, kLimit)) && count > 0) {
    Require(count <= piece, "a read returns at most what was requested");
    body.append(buffer, 0, count);
  }
  Require(body.size() <= answer.size(), "a body is a part of the answer");
  Require(!good || !response.ReadBody(&socket, buffer.data(), piece, &count, kLimit) || count == 0,
          "a body that has ended stays so");
  return 0;
}
