// The gateway itself: receives records over HTTP or HTTPS, keeps them, answers what is asked, and
// misbehaves when told to.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "gateway/fault_plan.h"
#include "gateway/record_store.h"

namespace httplib {
struct Request;
struct Response;
class ContentReader;
}  // namespace httplib

namespace Gateway {

class Api;
class HttpServer;

// What is worth a line to a person who watches. Called on the connections' threads.
struct ServerEvents {
  std::function<void(const Record&)> onRecord;  // in order of arrival, one at a time
  std::function<void(const std::string& target, const Fault&)> onFault;
  std::function<void(const std::string& target)> onConfigurationRequest;
};

struct ServerOptions {
  std::string address = "127.0.0.1";
  int port = 0;  // 0 takes any free one
  bool https = false;
  // The settings document as the configuration request gets it; nothing when it cannot be read.
  std::function<std::optional<std::string>()> readSettings;
  ServerEvents events;
};

class Server {
 public:
  explicit Server(ServerOptions options);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  // Run must have returned.
  ~Server();

  // Takes the port; from here on clients can connect. On failure false, with a text for people in
  // `error`. Call it once, before anything else.
  bool Listen(std::string& error);
  int Port() const { return port_; }
  // "https://127.0.0.1:8443"
  std::string Url() const;

  // Serves until Stop; blocks. Ends open connections, answers outstanding or not.
  void Run();

  // After Listen, any thread, also from a signal handler; returns at once.
  void Stop();

  RecordStore& Store() { return store_; }
  FaultPlan& Faults() { return faults_; }

 private:
  void AddRoutes();
  void HandleGet(const httplib::Request& request, httplib::Response& response);
  void HandlePost(const httplib::Request& request,
                  httplib::Response& response,
                  const httplib::ContentReader& reader);
  void HandleApi(const httplib::Request& request, std::string body, httplib::Response& response);
  void HandleRecord(const httplib::Request& request, std::string body, httplib::Response& response);
  void AnswerConfiguration(const httplib::Request& request, httplib::Response& response);

  void Count(RequestKind kind);
  std::optional<Fault> TakeFault(const httplib::Request& request);
  // Blocks while the fault delays its request. False when the wait was called off: the request is
  // then forgotten and its connection dropped.
  bool WaitOut(const std::optional<Fault>& fault);

  const ServerOptions options_;
  int port_ = 0;
  RecordStore store_;
  FaultPlan faults_;
  DelayRoom delays_;
  std::unique_ptr<Api> api_;
  std::unique_ptr<HttpServer> http_;
};

}  // namespace Gateway
