// Where records are kept: in memory, in an SQLite file or in ClickHouse. The narrow interface
// between the gateway and its stores.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "gateway/record_reader.h"

namespace Gateway {

enum class AddOutcome {
  Stored,   // durable, as far as the store's medium is
  Double,   // a record with the same digest is there already
  Expired,  // older than the retention; accepted and dropped
  Failed,   // not stored; the client must keep the record
};

struct AddResult {
  AddOutcome outcome = AddOutcome::Failed;
  std::string reason;  // of Failed, for the log
};

// The parameters of a question, for example {"product", "Quendel Writer"}.
using Parameters = std::map<std::string, std::string, std::less<>>;

// The answer to a question: {"columns":["time","events"],"rows":[[1795392000000,12],...]}.
struct Answer {
  int status = 200;  // 400: the question or a parameter is wrong; 404; 503: the store fails
  std::string json;  // the answer, or {"error":"..."}
};

// Thread-safe.
class Store {
 public:
  using Done = std::function<void(const AddResult&)>;

  Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  // Commits what has been added and calls the last `done`.
  virtual ~Store() = default;

  // Queues the record and returns. Records that arrive while others are written are committed
  // together. `done` is called once, on a thread of the store or, when too many records wait, at
  // once on this one; it must not block.
  virtual void Add(std::shared_ptr<const Record> record, Done done) = 0;

  // Answers one of the questions in questions.h. Blocks while the store reads, for 10 seconds at
  // most.
  virtual Answer Ask(std::string_view question, const Parameters& parameters) = 0;

  // Deletes every record, event and session of an endpoint or of a user, both given by the digest
  // they arrive as, so that no byte of them remains in the store's files. Blocks. Returns the
  // number of records deleted, or -1 with the reason in `error`.
  virtual std::int64_t Forget(std::string_view digest, std::string& error) = 0;
};

}  // namespace Gateway
