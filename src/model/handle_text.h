// A short immutable text inside a handle.
#pragma once

#include <cstddef>
#include <string_view>

namespace Tav {

class Arena;

// UTF-8, zero-terminated, without zero bytes inside. Stands in the handle's own arena when it has
// one, so that it costs the host's thread no allocation. Not synchronised.
class HandleText {
 public:
  HandleText() = default;
  ~HandleText() { Clear(); }
  HandleText(const HandleText&) = delete;
  HandleText& operator=(const HandleText&) = delete;

  // Copies `text`; the text before is dropped. False, and empty, when memory runs out.
  bool Assign(std::string_view text, Arena* arena);
  void Clear();

  std::string_view View() const { return {CString(), size_}; }
  const char* CString() const { return data_ == nullptr ? "" : data_; }
  size_t Size() const { return size_; }
  bool Empty() const { return size_ == 0; }

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace Tav
