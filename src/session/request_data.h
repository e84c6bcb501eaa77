// What synchronous requests pass between host threads and the session thread.
#pragma once

#include <string>

namespace Tav {

enum class CommitResult { Sent, NotSent, CacheWriteFailed };

// What a synchronous request carries. A host writes it before it queues the request and reads it
// after the answer; in between it belongs to the session thread.
struct RequestData {
  CommitResult commit = CommitResult::NotSent;
  std::string pulledBlock;  // a record as text; kept until a host has taken it
  std::string pushedBlock;
};

}  // namespace Tav
