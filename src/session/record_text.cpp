#include "session/record_text.h"

#include "util/logger.h"

namespace Tav {

// An event seldom takes more than a piece.
RecordText::RecordText(const json_t* header)
    : gzip_(&compressed_), counter_(&gzip_), end_(2 * kPiece) {
  end_.AddValue(header);
  end_.CutTo(end_.Size() - 1);  // without the brace at the end
}

void RecordText::WriteEnd() {
  counter_.Write(end_.View().data(), end_.Size());
  end_.CutTo(0);
}

std::unique_ptr<BuiltRecord> RecordText::Finish() {
  end_.Add('}');
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
