// The requests under /api/: listings of what arrived, questions to the store, fault injection, the
// settings file, reset. Answers are JSON.
// Independent of HTTP and sockets; docs/gateway.md describes each path.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "gateway/fault_plan.h"
#include "gateway/received_records.h"
#include "gateway/settings_file.h"
#include "gateway/store/store.h"

namespace Gateway {

struct ApiRequest {
  std::string method;
  std::string path;
  std::multimap<std::string, std::string> parameters;  // of the query, decoded
  std::string body;
};

struct ApiAnswer {
  int status = 200;
  std::string body;
};

// Thread-safe.
class Api {
 public:
  // Borrows all of them for its lifetime. `onReset` must end the requests that a fault still
  // delays. `store` answers questions and `settings` is the file that may be edited; null without
  // them.
  Api(ReceivedRecords& records,
      FaultPlan& faults,
      std::function<void()> onReset,
      Store* store = nullptr,
      SettingsFile* settings = nullptr);

  // Whether a path belongs to the API: such requests are not counted and get no faults.
  static bool Owns(std::string_view path);

  // A question to the store may take 10 seconds; everything else answers at once.
  ApiAnswer Handle(const ApiRequest& request);

 private:
  ApiAnswer Get(const ApiRequest& request) const;
  ApiAnswer Post(const ApiRequest& request);
  ApiAnswer Records(const ApiRequest& request) const;
  ApiAnswer OneRecord(const ApiRequest& request) const;
  ApiAnswer Events(const ApiRequest& request) const;
  ApiAnswer Recent(const ApiRequest& request) const;
  ApiAnswer Ask(const ApiRequest& request) const;
  ApiAnswer Settings() const;
  ApiAnswer PutSettings(const ApiRequest& request);
  ApiAnswer AddFaults(const ApiRequest& request);
  ApiAnswer Reset();

  ReceivedRecords& records_;
  FaultPlan& faults_;
  const std::function<void()> onReset_;
  Store* const store_;
  SettingsFile* const settings_;
};

}  // namespace Gateway
