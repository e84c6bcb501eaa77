#include "session/request_handler.h"

#include <memory>
#include <utility>

#include "session/data_block.h"
#include "util/logger.h"

namespace Tav {

void RequestHandler::Commit() {
  TAV_DEBUG_HERE("SM: Commit. Processing event list");
  commitPending_ = true;
  recovery_.SearchAgain();
  recovery_.Run(-1);
  delivery_.IncludePending();
  delivery_.BuildNext(true);
  SendForCommit();
}

void RequestHandler::ContinueCommit() try { SendForCommit(); } catch (...) {
  LogException("SM: ");
  AnswerFailed(ItemCode::Commit);
}

void RequestHandler::AnswerUnfinished() {
  if (commitPending_) {
    AnswerFailed(ItemCode::Commit);
  }
}

void RequestHandler::SendForCommit() {
  const SendProgress progress = delivery_.SendSome();
  if (progress == SendProgress::More) {
    return;
  }
  commitPending_ = false;
  if (progress == SendProgress::Done) {
    data_.commit = CommitResult::Sent;
  }
  if (delivery_.Store().TakeFlushFailed()) {
    data_.commit = CommitResult::CacheWriteFailed;
  }
  TAV_DEBUG_HERE("SM: Commit. Waking up thread");
  thread_.WakeReady();
  TAV_DEBUG_HERE("SM: Commit done");
}

void RequestHandler::PullData() {
  recovery_.Search();
  delivery_.ProcessEventList(true);
  // If the last host had no memory for its block, the block is still here and is returned first.
  if (data_.pulledBlock.empty()) {
    if (const BuiltRecord* const record = delivery_.Store().Oldest()) {
      data_.pulledBlock = ToDataBlock(*record);
      delivery_.Store().RemovePulled();
    }
  }
  TAV_DEBUG_HERE("SM: Record pulled. Waking up thread");
  thread_.WakeReady();
  TAV_DEBUG_HERE("SM: Record pulled done");
}

void RequestHandler::PushData() {
  std::string reason;
  std::unique_ptr<BuiltRecord> record = FromDataBlock(data_.pushedBlock, reason);
  data_.pushedBlock.clear();
  if (record == nullptr) {
    LogWarning("SM: PushData: rejecting data that is no record (%s)", reason.c_str());
  } else if (!delivery_.Store().Push(std::move(record))) {
    LogWarning("SM: PushData: rejecting a record because of the opt-out");
  }
  TAV_DEBUG_HERE("SM: Record pushed. Waking up thread");
  thread_.WakeReady();
  TAV_DEBUG_HERE("SM: Record pushed done");
}

void RequestHandler::RestorePulled() {
  if (data_.pulledBlock.empty()) {
    return;
  }
  std::string reason;
  if (std::unique_ptr<BuiltRecord> record = FromDataBlock(data_.pulledBlock, reason)) {
    delivery_.Store().Append(std::move(record));
  } else {
    LogWarning("SM: A pulled record is lost (%s)", reason.c_str());
  }
  data_.pulledBlock.clear();
}

void RequestHandler::AnswerQuestion(const std::string& endpointId) {
  TAV_DEBUG_HERE("SM: Sync. Waking up thread");
  data_.endpointId = endpointId;
  thread_.WakeReady(Thread::Ready::Question);
  TAV_DEBUG_HERE("SM: Sync done");
}

void RequestHandler::AnswerAtOnce() {
  data_.commit = CommitResult::NotSent;
  thread_.WakeReady();
}

void RequestHandler::AnswerFailed(ItemCode code) {
  commitPending_ = commitPending_ && code != ItemCode::Commit;
  if (code == ItemCode::Sync) {
    thread_.WakeReady(Thread::Ready::Question);
  } else if (code == ItemCode::Commit || code == ItemCode::PullData || code == ItemCode::PushData) {
    thread_.WakeReady();
  }
}

}  // namespace Tav
