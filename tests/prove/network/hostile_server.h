// A server on loopback that misbehaves. While it is healed, it passes each connection on to the
// gateway behind it, byte by byte, also TLS.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace Prove {

inline constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

// What happens to one connection.
struct Misbehaviour {
  enum class Kind {
    Answer,  // read each request and send `answer`
    Cut,     // pass bytes on until one of the limits is reached, and then do `then`
  };
  // Corrupt: bytes that nobody has sent, and then the end of the connection.
  enum class Then { Close, Reset, Stall, Corrupt };

  Kind kind = Kind::Answer;

  // Answer. The gateway gets the request first if `store` is set; its own answer is dropped.
  std::string answer;
  std::string repeated = {};  // sent after the answer again and again
  std::int64_t repeats = 0;
  int pause = 0;  // milliseconds before each repetition
  bool store = false;
  bool ignoreBody = false;  // answer after the head
  bool keepOpen = false;    // after the answer

  // Cut. Bytes of the client and of the gateway that are passed on.
  std::size_t clientBytes = kNoLimit;
  std::size_t serverBytes = kNoLimit;
  Then then = Then::Close;
};

class HostileServer {
 public:
  // Misbehaves with each connection, or with two of three if `flaps`.
  HostileServer(int gatewayPort, Misbehaviour misbehaviour, bool flaps = false);
  // Ends all connections.
  ~HostileServer();
  HostileServer(const HostileServer&) = delete;
  HostileServer& operator=(const HostileServer&) = delete;

  int Port() const { return port_; }
  // Connections that were treated badly: requests answered, or cut.
  int Victims() const { return victims_; }
  // From now on connections are passed on.
  void Heal() { healed_ = true; }

 private:
  void Serve();
  void Handle(int client, int number);
  void AnswerRequests(int client);
  bool AnswerOne(int client);
  void Forward(const std::string& request) const;
  // Until one side closes, or a limit of the misbehaviour is reached if there is one.
  void Relay(int client, const Misbehaviour* limits);
  void Finish(int client, int gateway, Misbehaviour::Then then, bool toClient);
  bool SendAll(int socket, const std::string& bytes) const;
  // False if the server stops meanwhile, or the time is over.
  bool AwaitInput(int socket, int milliseconds) const;
  int Connect() const;

  const int gatewayPort_;
  const Misbehaviour misbehaviour_;
  const bool flaps_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_ = false;
  std::atomic<bool> healed_ = false;
  std::atomic<int> victims_ = 0;
  std::vector<std::thread> threads_;  // of the connections; the thread of the listener only
  std::thread thread_;
};

}  // namespace Prove
