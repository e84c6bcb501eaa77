// Sessions whose records go out one by one, for the tests of sending.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "session/session_parts.h"

namespace Tav::Testing {

class SendingFixture : public SessionManagerTest {
 protected:
  // Each event is a record of its own. Changed product values have gone before.
  static void Build(SessionParts& run, const Names& events) {
    for (const std::string& event : events) {
      run.Log(event);
      run.delivery.ProcessEventList(true);
    }
  }
  static Names Numbered(int count) {
    Names names;
    for (int i = 0; i < count; ++i) {
      names.push_back("old" + std::to_string(i));
    }
    return names;
  }
  // Of all cache files. The library may delete one meanwhile.
  uintmax_t CachedBytes() const {
    uintmax_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path(""))) {
      const bool isCache = entry.path().filename().string().starts_with("TavCache");
      std::error_code gone;
      const uintmax_t size = entry.file_size(gone);
      bytes += isCache && !gone ? size : 0;
    }
    return bytes;
  }
};

}  // namespace Tav::Testing
