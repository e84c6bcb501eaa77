#include "api/component_events.h"

#include <cstring>

#include "model/handles.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr int kMostContinuationBytes = 3;

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// At most `most` bytes of `text`, without the beginning of a character that does not fit.
std::string_view CutText(std::string_view text, size_t most) {
  if (text.size() <= most) {
    return text;
  }
  size_t length = most;
  for (int i = 0; i < kMostContinuationBytes && length > 0 && IsContinuation(text[length]); ++i) {
    --length;
  }
  return text.substr(0, length);
}

}  // namespace

ComponentEventName::ComponentEventName(std::string_view component, std::string_view event) {
  Append(component);
  Append("_");
  Append(event);
  text_[size_] = '\0';
}

void ComponentEventName::Append(std::string_view piece) {
  if (cut_) {
    return;
  }
  const std::string_view fitting = CutText(piece, kLongestName - size_);
  std::memcpy(text_ + size_, fitting.data(), fitting.size());
  size_ += fitting.size();
  cut_ = fitting.size() < piece.size();
}

void SetComponent(TavEvent_s& event, std::string_view name, std::string_view version) {
  if (!event.componentName.Assign(name, event.Memory()) ||
      !event.componentVersion.Assign(version, event.Memory())) {
    LogError("Tav: Out of memory");
  }
}

}  // namespace Tav
