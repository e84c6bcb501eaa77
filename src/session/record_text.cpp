#include "session/record_text.h"

#include "util/json_text.h"
#include "util/logger.h"

namespace Tav {

RecordText::RecordText(const json_t* header) : gzip_(&compressed_), counter_(&gzip_) {
  end_.reserve(2 * kPiece);  // an event seldom takes more than a piece
  AppendJsonValue(end_, header);
  end_.pop_back();
}

void RecordText::AddString(std::string_view name, std::string_view text) {
  end_ += ',';
  AppendJsonString(end_, name);
  end_ += ':';
  AppendJsonString(end_, text);
}

void RecordText::WriteEnd() {
  counter_.Write(end_.data(), end_.size());
  end_.clear();
}

std::unique_ptr<BuiltRecord> RecordText::Finish() {
  end_ += '}';
  WriteEnd();
  counter_.Flush();
  if (counter_.HasError()) {
    LogError("%s", counter_.ErrorText());
    return nullptr;
  }
  auto record = std::make_unique<BuiltRecord>();
  record->bytes = compressed_.Join();
  TAV_TRACE("JD: Compressed %d down to %d", static_cast<int>(counter_.Count()), record->Size());
  return record;
}

}  // namespace Tav
