// The gateway: receives records over HTTP or HTTPS, stores them, answers requests about them, and
// injects faults.
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

// Callbacks for the log. Called on the connections' threads.
struct ServerEvents {
  std::function<void(const Record&)> onRecord;  // in order of arrival, one at a time
  std::function<void(const std::string& target, const Fault&)> onFault;
  std::function<void(const std::string& target)> onConfigurationRequest;
};

struct ServerOptions {
  std::string address = "127.0.0.1";
  int port = 0;  // 0 selects a free one
  bool https = false;
  // PEM files of HTTPS. Both empty: a self-signed certificate is generated.
  std::string certificateFile;
  std::string keyFile;
  // Returns the settings document for the configuration request; nothing if it cannot be read.
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

  // Listens; clients can connect from now on. Returns false on failure, with the reason in `error`.
  // Call it once, before anything else.
  bool Listen(std::string& error);
  int Port() const { return port_; }
  // "https://127.0.0.1:8443"
  std::string Url() const;

  // Blocks and serves until Stop is called, then ends all connections, answered or not.
  void Run();

  // Does not block; callable after Listen, from any thread and from a signal handler.
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
  // Blocks while the fault delays its request. Returns false if the delay was cancelled; the
  // connection is then abandoned.
  bool WaitFor(const std::optional<Fault>& fault);

  const ServerOptions options_;
  int port_ = 0;
  RecordStore store_;
  FaultPlan faults_;
  DelayTimer delays_;
  std::unique_ptr<Api> api_;
  std::unique_ptr<HttpServer> http_;
};

}  // namespace Gateway
