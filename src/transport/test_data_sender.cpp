#include "transport/test_data_sender.h"

#include <new>
#include <vector>

#include "streams/memory_stream.h"
#include "transport/expand_body.h"
#include "util/logger.h"

namespace Tav {

namespace {

TestDataSender::Hook testHook = nullptr;

}  // namespace

void TestDataSender::SetHook(Hook hook) {
  testHook = hook;
}

int32_t TestDataSender::Open() {
  return testHook != nullptr ? testHook(nullptr, 0) : 0;
}

int32_t TestDataSender::Send(const void* body, size_t length, bool) try {
  if (length == 0 || testHook == nullptr) {
    return 0;
  }
  MemoryOutputStream collected;
  ExpandBody(body, length, &collected);
  const std::vector<uint8_t> expanded = collected.Join();
  // An empty vector's data may be null, which would look like Open.
  const uint8_t nothing = 0;
  return testHook(expanded.empty() ? &nothing : expanded.data(), expanded.size());
} catch (const std::bad_alloc&) {
  LogError("Out of memory while expanding a body");
  return 1;
}

}  // namespace Tav
