// What host threads and the session thread pass each other in synchronous requests.
#pragma once

#include <string>

namespace Tav {

enum class CommitResult { Sent, NotSent, CacheWriteFailed };

// The arguments and results of synchronous requests. A host writes those of its request before it
// queues it and reads them after the answer; in between they belong to the session thread.
struct RequestData {
  CommitResult commit = CommitResult::NotSent;
  std::string endpointId;   // empty while it is unknown
  std::string pulledBlock;  // a record as text; kept until a host has taken it
  std::string pushedBlock;
};

}  // namespace Tav
