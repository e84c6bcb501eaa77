// An HTTP server on a loopback address for tests that check the bytes of requests and choose the
// bytes of the answers, including malformed ones.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Tav::Testing {

class LoopbackServer {
 public:
  enum class Then { KeepOpen, Close };

  // The answer to one request: bytes, possibly none, and what to do with the connection.
  struct Answer {
    std::string bytes;
    Then then = Then::KeepOpen;
  };

  struct Request {
    int connection;    // 0, 1, … in order of arrival
    std::string head;  // request line and headers, with the empty line at the end
    std::string body;
  };

  enum class Address { Ipv4, Ipv6 };

  // Listens on a free port until it is destroyed. Throws if the machine lacks the address.
  explicit LoopbackServer(Address address = Address::Ipv4);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int Port() const { return port_; }
  std::string Url(const std::string& pathAndQuery = "/") const;

  // Answers are used in order, one for each request. Further requests get an empty 200.
  void Enqueue(Answer answer);
  // Enqueues a complete answer with a Content-Length.
  void EnqueueStatus(const std::string& statusAndReason, const std::string& body = "");
  // Close the connection without an answer; keep it open without an answer.
  void EnqueueDrop() { Enqueue({"", Then::Close}); }
  void EnqueueSilence() { Enqueue({"", Then::KeepOpen}); }

  // Every complete request. A request is added before its answer is sent.
  std::vector<Request> Requests() const;

 private:
  struct Connection {
    int number;
    uintptr_t socket;
    std::string received;
  };

  void Serve();
  // False if the connection has ended.
  bool Receive(Connection* connection);
  bool AnswerWholeRequests(Connection* connection);
  Answer Record(const Connection& connection, const std::string& head, const std::string& body);

  const Address address_;
  int port_ = 0;  // must come before listener_, whose initialiser sets it
  uintptr_t listener_;
  mutable std::mutex mutex_;
  bool stopping_ = false;
  std::deque<Answer> answers_;
  std::vector<Request> requests_;
  std::thread thread_;
};

// A loopback port on which no program listens.
int ClosedPort();

}  // namespace Tav::Testing
