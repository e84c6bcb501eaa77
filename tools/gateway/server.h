// The gateway: receives records over HTTP or HTTPS, stores them, serves the page and its API, and
// injects faults.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "gateway/fault_plan.h"
#include "gateway/http/http_server.h"
#include "gateway/http/worker_pool.h"
#include "gateway/live_feed.h"
#include "gateway/page_guard.h"
#include "gateway/received_records.h"
#include "gateway/store/store.h"

namespace Gateway {

class Api;
class SettingsFile;

constexpr int kDefaultPagePort = 8081;

// Callbacks for the log. Called on the server's threads.
struct ServerEvents {
  std::function<void(const Record&)> onRecord;  // in order of arrival, one at a time
  std::function<void(const std::string& target, const Fault&)> onFault;
  std::function<void(const std::string& target)> onConfigurationRequest;
  std::function<void(const std::string& reason)> onStoreFailure;
};

struct ServerOptions {
  std::string address = "127.0.0.1";
  int port = 0;  // 0 selects a free one
  bool https = false;
  // PEM files of HTTPS. Both empty: a self-signed certificate is generated.
  std::string certificateFile;
  std::string keyFile;
  // The page and its API have a port of their own if one of these is set, or if `address` is not
  // loopback: kDefaultPagePort at 127.0.0.1. Beyond loopback only with a token.
  std::optional<int> pagePort;
  std::optional<std::string> pageAddress;
  std::string token;
  HttpLimits limits;
  std::size_t maxExpandedBytes = kMaxExpandedBytes;
  // Where records are kept; null for memory.
  std::unique_ptr<Store> store;
  // The file that /api/settings shows and replaces; empty: none.
  std::string settingsFile;
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
  // The port of the page and its API, which may be Port().
  int PagePort() const { return pagePort_; }
  // "https://127.0.0.1:8443"
  std::string Url() const;
  std::string PageUrl() const;

  // Blocks and serves until Stop is called and the requests in progress are answered. After ten
  // seconds, or when Stop is called again, ends the rest. Then commits the store.
  void Run();

  // Does not block; callable after Listen, from any thread.
  void Stop() { http_->Stop(); }
  // From now on SIGINT and SIGTERM call Stop. A second signal ends the process at once.
  void StopOnSignals() { http_->StopOnSignals(); }

  ReceivedRecords& Records() { return records_; }
  FaultPlan& Faults() { return faults_; }
  // What GET /api/live sends.
  LiveFeed& Live() { return live_; }

 private:
  bool ListenForPage(std::string& error);
  SslContextPtr CreateContext(std::string& error) const;
  std::string PageAddress() const;

  // These run on an I/O thread and do not block.
  void Handle(const ExchangePtr& exchange);
  void HandlePage(const ExchangePtr& exchange);
  void HandleApi(const ExchangePtr& exchange);
  void HandleGet(const ExchangePtr& exchange);
  void HandleRecord(const ExchangePtr& exchange);

  // These run on a worker.
  void AnswerApi(Exchange& exchange);
  void AnswerConfiguration(const ExchangePtr& exchange, const std::optional<Fault>& fault);
  void ReceiveRecord(const ExchangePtr& exchange, const std::optional<Fault>& fault);
  void StoreRecord(const ExchangePtr& exchange, Record record, const std::optional<Fault>& fault);
  // Adds the record to the list if the store has it. Returns the answer's status.
  int OnStored(const Record& record, const AddResult& result);

  // Tells the log and the live pages of a record.
  void Announce(const Record& record);
  void Count(Exchange& exchange, RequestKind kind);
  std::optional<Fault> TakeFault(const HttpRequest& request);
  // Continues when the fault no longer delays the request; drops it if the delay is cancelled.
  void AfterDelay(const ExchangePtr& exchange,
                  const std::optional<Fault>& fault,
                  std::function<void()> next);

  ServerOptions options_;
  int port_ = 0;
  int pagePort_ = 0;
  ReceivedRecords records_;
  FaultPlan faults_;
  LiveFeed live_;
  std::unique_ptr<SettingsFile> settings_;
  std::unique_ptr<Api> api_;
  std::unique_ptr<PageGuard> guard_;
  std::unique_ptr<HttpServer> http_;
  WorkerPool readers_;
  WorkerPool queries_;  // apart, so that a slow question holds up no record
};

}  // namespace Gateway
