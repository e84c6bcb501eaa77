// What each thread has to itself: its last error, its slots, its number.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

#include "platform/error.h"
#include "platform/process.h"
#include "platform/thread.h"

namespace Tav::Platform {
namespace {

TEST(LastError, BelongsToItsThread) {
  // No call in between that could set a last error of its own.
  std::atomic<int> turn{0};
  uint32_t elsewhere = 0;
  std::thread thread([&] {
    SetLastError(7);
    turn = 1;
    while (turn != 2) {
    }
    elsewhere = LastError();
  });
  while (turn != 1) {
  }
  SetLastError(5);
  turn = 2;
  EXPECT_EQ(LastError(), 5u);
  thread.join();
  EXPECT_EQ(elsewhere, 7u);
}

TEST(LastError, HasATextWithoutTrailingWhiteSpace) {
  const std::string text = ErrorMessage(5);
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(std::strchr(" \r\n\t", text.back()), nullptr) << text;
  EXPECT_NE(text, ErrorMessage(2));
  EXPECT_EQ(ErrorMessage(0xE0FFFFF1), "");
  // A message with a place for an argument stays whole.
  EXPECT_FALSE(ErrorMessage(34).empty());
}

TEST(ErrnoText, NamesTheError) {
  EXPECT_EQ(ErrnoMessage(ENOENT), "No such file or directory");
  EXPECT_FALSE(ErrnoMessage(98765).empty());
}

TEST(ErrorKeeper, RestoresBothErrors) {
  SetLastError(5);
  errno = EACCES;
  {
    const ErrorKeeper keeper;
    SetLastError(6);
    errno = 0;
    EXPECT_EQ(keeper.LastErrorCode(), 5u);
    EXPECT_EQ(keeper.Errno(), EACCES);
  }
  EXPECT_EQ(LastError(), 5u);
  EXPECT_EQ(errno, EACCES);
}

TEST(TlsSlot, HoldsAValueForEachThread) {
  TlsSlot slot;
  EXPECT_EQ(slot.Get(), nullptr);
  ASSERT_TRUE(slot.Acquire());
  int here = 0;
  slot.Set(&here);
  void* elsewhere = &here;
  std::thread([&] {
    elsewhere = slot.Get();
    slot.Set(&elsewhere);
  }).join();
  EXPECT_EQ(elsewhere, nullptr);
  EXPECT_EQ(slot.Get(), &here);
  slot.Release();
  EXPECT_FALSE(slot.Valid());
  EXPECT_EQ(slot.Get(), nullptr);
}

TEST(TlsSlot, StartsEmptyWhenASlotIsReused) {
  int value = 0;
  TlsSlot first;
  ASSERT_TRUE(first.Acquire());
  first.Set(&value);
  first.Release();
  TlsSlot second;
  ASSERT_TRUE(second.Acquire());
  EXPECT_EQ(second.Get(), nullptr);
  second.Release();
}

TEST(TlsSlot, ReadingKeepsTheLastError) {
  TlsSlot slot;
  ASSERT_TRUE(slot.Acquire());
  SetLastError(5);
  slot.Get();
  EXPECT_EQ(LastError(), 5u);
  slot.Release();
}

TEST(ThreadId, DiffersBetweenThreads) {
  long elsewhere = CurrentThreadId();
  std::thread([&] { elsewhere = CurrentThreadId(); }).join();
  EXPECT_NE(elsewhere, CurrentThreadId());
}

}  // namespace
}  // namespace Tav::Platform
