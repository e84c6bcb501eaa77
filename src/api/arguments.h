// The checks that every argument from a host passes, in the order in which they are made.
#pragma once

#include <cstddef>
#include <string_view>

#include "model/handles.h"
#include "util/text.h"

namespace Tav {

inline constexpr size_t kLongestName = 255;  // bytes, after trimming

inline bool IsValidName(std::string_view name) {
  return !name.empty() && name.size() <= kLongestName;
}

// Keys with this text in them are the library's own.
inline constexpr std::string_view kReservedKeyText = "std-";

// A name that is not reserved.
inline bool IsValidProductKey(std::string_view key) {
  return IsValidName(key) && key.find(kReservedKeyText) == std::string_view::npos;
}

// A host's text for a log line.
inline const char* OrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

// What an entry point says about a handle it cannot take.
struct HandleMessages {
  const char* null;
  const char* reused;
  const char* wrongKind;
};

// True for a live event; else logs the first message that applies. The handle is left alone.
bool CheckEvent(const TavValue_s* event, const HandleMessages& messages);
// The same for a live map or list value.
bool CheckValue(const TavValue_s* value, HandleKind kind, const HandleMessages& messages);

}  // namespace Tav

// The arguments for "%.*s", for texts that do not end in a zero.
#define TAV_VIEW(view) static_cast<int>((view).size()), (view).data()
