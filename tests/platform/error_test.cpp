#include "platform/error.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

namespace Tav::Platform {
namespace {

TEST(LastErrorTest, BelongsToItsThread) {
  // Spins: no call in between may set a last error of its own.
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

TEST(ErrorMessageTest, HasNoTrailingWhiteSpaceAndNoArguments) {
  const std::string text = ErrorMessage(5);
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(std::strchr(" \r\n\t", text.back()), nullptr) << text;
  EXPECT_NE(text, ErrorMessage(2));
  EXPECT_EQ(ErrorMessage(0xE0FFFFF1), "");
  EXPECT_FALSE(ErrorMessage(34).empty()) << "on Windows a message with \"%1\"";
  EXPECT_EQ(ErrnoMessage(ENOENT), "No such file or directory");
  EXPECT_FALSE(ErrnoMessage(98765).empty());
}

TEST(ErrorKeeperTest, RestoresBothErrors) {
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

}  // namespace
}  // namespace Tav::Platform
