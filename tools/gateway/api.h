// The requests under /api/: listings of what arrived, fault injection, reset. Answers are JSON.
// Independent of HTTP and sockets; docs/gateway.md describes each path.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "gateway/fault_plan.h"
#include "gateway/record_store.h"

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
  // Borrows both for its lifetime. `onReset` must end the requests that a fault still delays.
  Api(RecordStore& store, FaultPlan& faults, std::function<void()> onReset);

  // Whether a path belongs to the API: such requests are not counted and get no faults.
  static bool Owns(std::string_view path);

  ApiAnswer Handle(const ApiRequest& request);

 private:
  ApiAnswer Records(const ApiRequest& request) const;
  ApiAnswer OneRecord(const ApiRequest& request) const;
  ApiAnswer Events(const ApiRequest& request) const;
  ApiAnswer AddFaults(const ApiRequest& request);
  ApiAnswer Reset();

  RecordStore& store_;
  FaultPlan& faults_;
  const std::function<void()> onReset_;
};

}  // namespace Gateway
