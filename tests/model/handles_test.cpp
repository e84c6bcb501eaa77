#include "model/handles.h"

#include <gtest/gtest.h>

#include <string>

#include "model/event_properties.h"
#include "util/block_pool.h"

namespace Tav {
namespace {

// No leak checker looks into the pool.
TEST(HandlesTest, FreeingAnEventReturnsItsMemoryToThePool) {
  const std::string longText(2000, 't');
  for (const uint32_t magic : {kHandleLive, kHandleConsumed}) {
    TavEvent_s* const event = CreateEvent(HandleKind::Error, longText.substr(0, 255), "session");
    ASSERT_NE(event, nullptr);
    EXPECT_TRUE(event->componentName.Assign("component", event->Memory()));
    AddEventString(*event, "text", longText);
    AddEventTraceItem(*event, longText, longText, longText);
    event->magic = magic;
    EXPECT_GT(BlockPool::CommittedSlabs(), 0u);
    FreeHandle(event);
    BlockPool::Trim();
    EXPECT_EQ(BlockPool::CommittedSlabs(), 0u);
  }
}

TEST(HandlesTest, OnlyHandlesAreFreed) {
  TavValue_s* const value = CreateValue(HandleKind::Map);
  value->magic = 0;
  FreeHandle(value);
  FreeHandle(nullptr);
  value->magic = kHandleLive;
  FreeHandle(value);
}

}  // namespace
}  // namespace Tav
