#include "model/handle_text.h"

#include <cstring>

#include "util/arena.h"

namespace Tav {

bool HandleText::Assign(std::string_view text, Arena* arena) {
  Clear();
  if (text.empty()) {
    return true;
  }
  data_ = static_cast<char*>(TaggedAllocate(text.size() + 1, arena));
  if (data_ == nullptr) {
    return false;
  }
  std::memcpy(data_, text.data(), text.size());
  data_[text.size()] = '\0';
  size_ = text.size();
  return true;
}

void HandleText::Clear() {
  TaggedFree(data_);
  data_ = nullptr;
  size_ = 0;
}

}  // namespace Tav
