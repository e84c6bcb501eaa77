// What tests and people ask of the gateway under /api/: what arrived, and faults to come. Answers
// are JSON. Knows no sockets; docs/gateway.md describes each path.
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

// Any thread.
class Api {
 public:
  // Borrows both for its lifetime. `onReset` releases requests that are still being held up.
  Api(RecordStore& store, FaultPlan& faults, std::function<void()> onReset);

  // Whether a path belongs here: such requests neither count nor suffer faults.
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
