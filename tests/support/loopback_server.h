// An HTTP server on loopback for tests that look at requests byte by byte and answer with bytes of
// their own choosing, wrong ones included.
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

  // What one request gets: bytes as they go out, possibly none, and what becomes of the connection.
  struct Answer {
    std::string bytes;
    Then then = Then::KeepOpen;
  };

  struct Request {
    int connection;    // counts from 0 in the order of arrival
    std::string head;  // request line and headers, the empty line at the end included
    std::string body;
  };

  // Listens on a free port from here to its destruction.
  LoopbackServer();
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int Port() const { return port_; }
  std::string Url(const std::string& pathAndQuery = "/") const;

  // Answers are taken in order, one a request. Requests beyond them get an empty 200.
  void Enqueue(Answer answer);
  // A whole answer with a Content-Length, as in Enqueue.
  void EnqueueStatus(const std::string& statusAndReason, const std::string& body = "");
  // Closes the connection without a word; takes the request and says nothing.
  void EnqueueDrop() { Enqueue({"", Then::Close}); }
  void EnqueueSilence() { Enqueue({"", Then::KeepOpen}); }

  // Every request that has arrived whole. A request is here before its answer goes out.
  std::vector<Request> Requests() const;

 private:
  struct Connection {
    int number;
    uintptr_t socket;
    std::string received;
  };

  void Serve();
  // False when the connection has ended.
  bool Receive(Connection* connection);
  bool AnswerWholeRequests(Connection* connection);
  Answer Record(const Connection& connection, const std::string& head, const std::string& body);

  int port_ = 0;  // before listener_, whose making fills it in
  uintptr_t listener_;
  mutable std::mutex mutex_;
  bool stopping_ = false;
  std::deque<Answer> answers_;
  std::vector<Request> requests_;
  std::thread thread_;
};

// A port of loopback on which nobody listens.
int ClosedPort();

}  // namespace Tav::Testing
