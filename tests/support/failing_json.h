// Lets jansson run out of memory.
#pragma once

#include <jansson.h>

#include <cstdlib>

namespace Tav::Testing {

// Lets one of jansson's allocations fail, that after `successes` others. One object at a time.
class FailingJson {
 public:
  explicit FailingJson(int successes) {
    left = successes;
    json_set_alloc_funcs([](size_t size) { return left-- == 0 ? nullptr : std::malloc(size); },
                         std::free);
  }
  ~FailingJson() { json_set_alloc_funcs(std::malloc, std::free); }
  FailingJson(const FailingJson&) = delete;
  FailingJson& operator=(const FailingJson&) = delete;
  bool Failed() const { return left < 0; }

 private:
  static inline int left = 0;
};

}  // namespace Tav::Testing
